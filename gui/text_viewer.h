// The layout and loading shared by the manual and history viewers.
#pragma once

#include <wx/dialog.h>

class wxButton;
class wxTextCtrl;

/// A read-only multi-line text (620 x 560) with a "Close" button below it,
/// in a 640 x 640 dialog; Escape presses the button. The handlers only let
/// the events pass on.
class TextViewerDialogBase : public wxDialog {
public:
    TextViewerDialogBase(wxWindow* parent, const wxString& caption);

    wxTextCtrl* m_text = nullptr;
    wxButton* m_closeButton = nullptr;

protected:
    virtual void OnCloseDialog(wxCloseEvent& event) { event.Skip(); }
    virtual void OnCloseClick(wxCommandEvent& event) { event.Skip(); }
};

/// Shows the file at `path` (relative to the working directory) in `text`, or
/// the single line `missingLine` when it cannot be read. Nothing else is shown.
void LoadTextViewer(wxTextCtrl& text, const wxString& path, const wxString& missingLine);
