#include "gui/text_viewer.h"

#include <wx/button.h>
#include <wx/dialog.h>
#include <wx/log.h>
#include <wx/sizer.h>
#include <wx/textctrl.h>

void BuildTextViewer(wxDialog& dialog, wxTextCtrl*& text, wxButton*& closeButton)
{
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    text = new wxTextCtrl(&dialog, wxID_ANY, wxEmptyString, wxDefaultPosition, wxSize(620, 560),
                          wxTE_MULTILINE | wxTE_READONLY);
    sizer->Add(text, 1, wxALL | wxEXPAND, 5);
    closeButton = new wxButton(&dialog, wxID_CLOSE, wxS("Close"));
    sizer->Add(closeButton, 0, wxALL | wxALIGN_CENTER_HORIZONTAL, 5);
    dialog.SetEscapeId(wxID_CLOSE);
    dialog.SetSizer(sizer);
    dialog.Layout();
}

void LoadTextViewer(wxTextCtrl& text, const wxString& path, const wxString& missingLine)
{
    wxLogNull noLogWindow;  // a missing file is answered in the control, not by a log box
    if (!text.LoadFile(path))
        text.SetValue(missingLine);
}
