#include "gui/history_dialog.h"

#include "core/state.h"
#include "gui/dialog_support.h"

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
