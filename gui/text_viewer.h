// The layout and loading shared by the manual and history viewers.
#pragma once

#include <wx/string.h>

class wxButton;
class wxDialog;
class wxTextCtrl;

/// Adds a read-only multi-line text control (620 x 560) and a "Close" button
/// below it to `dialog`; Escape presses the button.
void BuildTextViewer(wxDialog& dialog, wxTextCtrl*& text, wxButton*& closeButton);

/// Shows the file at `path` (relative to the working directory) in `text`, or
/// the single line `missingLine` when it cannot be read. Nothing else is shown.
void LoadTextViewer(wxTextCtrl& text, const wxString& path, const wxString& missingLine);
