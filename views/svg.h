// A computed view as an SVG picture, for programs without a display.
#pragma once

#include "views/layout.h"

#include <string>

/// The SVG colour ("#RRGGBB") of a colour name the views use, as the
/// toolkit's colour database gives it; black for any other name.
const char* SvgColour(const wxString& name);

/// How far below a text's top its baseline lies, for a font of `fontPixels`.
int Ascent(int fontPixels);

/// `layout` drawn as the window draws it: on the background colour, with
/// the one-pixel black pen, texts of `fontPixels` in the sans-serif font
/// with their top-left corner at their position. UTF-8 text.
std::string LayoutToSvg(const ViewLayout& layout, int width, int height, int fontPixels);
