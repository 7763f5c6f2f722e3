#include "gui/text_viewer.h"

#include "files/atomic_file.h"

#include <wx/button.h>
#include <wx/log.h>
#include <wx/sizer.h>
#include <wx/textctrl.h>

TextViewerDialogBase::TextViewerDialogBase(wxWindow* parent, const wxString& caption)
    : wxDialog(parent, wxID_ANY, caption, wxDefaultPosition, wxSize(640, 640),
               wxDEFAULT_DIALOG_STYLE)
{
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    m_text = new wxTextCtrl(this, wxID_ANY, wxEmptyString, wxDefaultPosition, wxSize(620, 560),
                            wxTE_MULTILINE | wxTE_READONLY);
    sizer->Add(m_text, 1, wxALL | wxEXPAND, 5);
    m_closeButton = new wxButton(this, wxID_CLOSE, wxS("Close"));
    sizer->Add(m_closeButton, 0, wxALL | wxALIGN_CENTER_HORIZONTAL, 5);
    SetEscapeId(wxID_CLOSE);
    SetSizer(sizer);
    Layout();

    Bind(wxEVT_CLOSE_WINDOW, &TextViewerDialogBase::OnCloseDialog, this);
    m_closeButton->Bind(wxEVT_BUTTON, &TextViewerDialogBase::OnCloseClick, this);
}

void LoadTextViewer(wxTextCtrl& text, const wxString& path, const wxString& missingLine)
{
    // A FIFO or a device in its place would hang the window, and no manual
    // is a hundred megabytes: neither is a document to show.
    constexpr std::uint64_t largest = std::uint64_t{16} << 20;
    wxLogNull noLogWindow;  // a missing file is answered in the control, not by a log box
    if (!IsRegularFileWithin(path, largest) || !text.LoadFile(path))
        text.SetValue(missingLine);
}
