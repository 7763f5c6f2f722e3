#include "gui/manual_dialog.h"

#include "core/state.h"
#include "gui/dialog_support.h"

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
