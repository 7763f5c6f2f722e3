// Draws a computed view on a device context.
#pragma once

#include "views/layout.h"

class wxDC;

/// Draws every item in order with the DC's current font, pen and text colour;
/// a rectangle with a brush colour selects a solid brush of it first.
void DrawLayout(wxDC& dc, const ViewLayout& layout);
