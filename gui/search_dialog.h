// File, Search: asks for the text to look for in the stored results.
#pragma once

#include <wx/dialog.h>

class wxButton;
class wxStaticText;
class wxTextCtrl;

class SearchDialogBase : public wxDialog {
public:
    SearchDialogBase(wxWindow* parent, wxWindowID id = wxID_ANY, const wxString& title = wxS("Search"),
                     const wxPoint& pos = wxDefaultPosition, const wxSize& size = wxSize(320, 240),
                     long style = wxDEFAULT_DIALOG_STYLE);

    wxStaticText* m_label = nullptr;
    wxTextCtrl* m_text = nullptr;
    wxButton* m_cancelButton = nullptr;
    wxButton* m_okButton = nullptr;

protected:
    virtual void OnClose(wxCloseEvent& event) { event.Skip(); }
    virtual void OnCancel(wxCommandEvent& event) { event.Skip(); }
    virtual void OnSearchTextEnter(wxCommandEvent& event) { event.Skip(); }
};

class SearchDialog : public SearchDialogBase {
public:
    explicit SearchDialog(wxWindow* parent) : SearchDialogBase(parent) {}

protected:
    void OnClose(wxCloseEvent& event) override;
    void OnCancel(wxCommandEvent& event) override;
    void OnSearchTextEnter(wxCommandEvent& event) override;
};
