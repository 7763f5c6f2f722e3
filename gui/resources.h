// Drawing resources shared by every view: global state, made by InitDrawingResources.
#pragma once

#include <wx/brush.h>
#include <wx/colour.h>
#include <wx/font.h>
#include <wx/pen.h>

extern wxColour WhiteColour;
extern wxColour BlackColour;
extern wxColour BackgroundColour;  ///< red 242, green 240, blue 250
extern wxBrush WhiteBrush;
extern wxPen BlackPen;
extern wxFont ViewFont;

/// Makes the resources above (and sets the view font size); InitGlobals
/// calls it first.
void InitDrawingResources();
