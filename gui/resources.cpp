#include "gui/resources.h"

#include "core/state.h"

wxColour WhiteColour;
wxColour BlackColour;
wxColour BackgroundColour;
wxBrush WhiteBrush;
wxPen BlackPen;
wxFont ViewFont;

void InitDrawingResources()
{
    // Packed as 0xBBGGRR: red sits in the low byte.
    BackgroundColour.Set(0xFAF0F2UL);
    WhiteBrush = wxBrush(wxColour(wxS("WHITE")), wxBRUSHSTYLE_SOLID);
    BlackPen = wxPen(wxColour(wxS("BLACK")), 1, wxPENSTYLE_SOLID);
    WhiteColour = wxColour(wxS("WHITE"));
    BlackColour = wxColour(wxS("BLACK"));

    FontSize = 9;
    ViewFont = wxFont(FontSize, wxFONTFAMILY_DEFAULT, wxFONTSTYLE_NORMAL, wxFONTWEIGHT_NORMAL,
                      false, wxEmptyString, wxFONTENCODING_DEFAULT);
}
