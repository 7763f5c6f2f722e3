// What the main window's client area shows for each display mode.
#pragma once

class wxDC;

/// Clears `dc` to the background colour with the view font and black pen
/// selected, then draws the view of `mode`.
void PaintDisplay(wxDC& dc, int mode);
