#include "gui/manual_dialog.h"

#include "app/state.h"
#include "gui/dialog_close.h"
#include "gui/text_viewer.h"

#include <wx/button.h>

ManualDialogBase::ManualDialogBase(wxWindow* parent, wxWindowID id, const wxString& title,
                                   const wxPoint& pos, const wxSize& size, long style)
    : wxDialog(parent, id, title, pos, size, style)
{
    BuildTextViewer(*this, m_text, m_closeButton);
    Bind(wxEVT_CLOSE_WINDOW, &ManualDialogBase::OnCloseDialog, this);
    m_closeButton->Bind(wxEVT_BUTTON, &ManualDialogBase::OnCloseClick, this);
}

ManualDialog::ManualDialog(wxWindow* parent) : ManualDialogBase(parent)
{
    LoadTextViewer(*m_text, ManualFilePath, ManualMissingLabel);
}

void ManualDialog::OnCloseDialog(wxCloseEvent&)
{
    CloseDialog(*this, wxID_CLOSE);
}

void ManualDialog::OnCloseClick(wxCommandEvent&)
{
    CloseDialog(*this, wxID_CLOSE);
}
