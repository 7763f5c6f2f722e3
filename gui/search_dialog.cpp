#include "gui/search_dialog.h"

#include "core/state.h"
#include "gui/dialog_support.h"
#include "results/search.h"

#include <wx/button.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

SearchDialogBase::SearchDialogBase(wxWindow* parent, wxWindowID id, const wxString& title, const wxPoint& pos,
                                   const wxSize& size, long style)
    : wxDialog(parent, id, title, pos, size, style)
{
    auto* box = new wxBoxSizer(wxVERTICAL);
    box->Add(0, 0, 1, wxEXPAND, 5);
    m_label = new wxStaticText(this, wxID_ANY, wxS("Enter text to search:"));
    box->Add(m_label, 0, wxALL | wxALIGN_CENTER_HORIZONTAL, 5);
    m_text = new wxTextCtrl(this, wxID_ANY, wxEmptyString, wxDefaultPosition, wxSize(175, -1), wxTE_PROCESS_ENTER);
    box->Add(m_text, 0, wxALL | wxALIGN_CENTER_HORIZONTAL, 5);
    box->Add(0, 0, 1, wxEXPAND, 5);
    auto* buttons = new wxBoxSizer(wxHORIZONTAL);
    m_cancelButton = new wxButton(this, wxID_CANCEL, wxS("Cancel"));
    buttons->Add(m_cancelButton, 0, wxALL, 5);
    buttons->Add(0, 0, 1, wxEXPAND, 5);
    m_okButton = new wxButton(this, wxID_OK, wxS("OK"));
    m_okButton->SetDefault();
    buttons->Add(m_okButton, 0, wxALL, 5);
    box->Add(buttons, 0, wxEXPAND, 5);
    SetSizer(box);
    Layout();
    KeepContentsVisible(*this);

    Bind(wxEVT_CLOSE_WINDOW, &SearchDialogBase::OnClose, this);
    m_cancelButton->Bind(wxEVT_BUTTON, &SearchDialogBase::OnCancel, this);
    m_okButton->Bind(wxEVT_BUTTON, &SearchDialogBase::OnSearchTextEnter, this);
    // Enter in the field confirms, as the default button would.
    m_text->Bind(wxEVT_TEXT_ENTER, &SearchDialogBase::OnSearchTextEnter, this);
}

void SearchDialog::OnClose(wxCloseEvent&)
{
    // Closing by the close box is no cancel: the last search runs again.
    CloseDialog(*this, wxID_CLOSE);
}

void SearchDialog::OnCancel(wxCommandEvent&)
{
    DialogCancelled = 1;
    CloseDialog(*this, wxID_CANCEL);
}

void SearchDialog::OnSearchTextEnter(wxCommandEvent&)
{
    SetSearchText(m_text->GetValue());
    CloseDialog(*this, wxID_OK);
}
