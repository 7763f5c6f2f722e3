#include "gui/history_dialog.h"

#include "app/state.h"
#include "gui/dialog_close.h"
#include "gui/text_viewer.h"

#include <wx/button.h>

HistoryDialogBase::HistoryDialogBase(wxWindow* parent, wxWindowID id, const wxString& title,
                                   const wxPoint& pos, const wxSize& size, long style)
    : wxDialog(parent, id, title, pos, size, style)
{
    BuildTextViewer(*this, m_text, m_closeButton);
    Bind(wxEVT_CLOSE_WINDOW, &HistoryDialogBase::OnCloseDialog, this);
    m_closeButton->Bind(wxEVT_BUTTON, &HistoryDialogBase::OnCloseClick, this);
}

HistoryDialog::HistoryDialog(wxWindow* parent) : HistoryDialogBase(parent)
{
    LoadTextViewer(*m_text, HistoryFilePath, HistoryMissingLabel);
}

void HistoryDialog::OnCloseDialog(wxCloseEvent&)
{
    CloseDialog(*this, wxID_CLOSE);
}

void HistoryDialog::OnCloseClick(wxCommandEvent&)
{
    CloseDialog(*this, wxID_CLOSE);
}
