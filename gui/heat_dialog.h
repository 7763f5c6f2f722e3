// The heat test's length in minutes.
#pragma once

#include <wx/dialog.h>

#include <cstdint>

class wxButton;
class wxStaticText;
class wxTextCtrl;

class HeatDialogBase : public wxDialog {
public:
    HeatDialogBase(wxWindow* parent, wxWindowID id = wxID_ANY, const wxString& title = wxS("Heat - time"),
                   const wxPoint& pos = wxDefaultPosition, const wxSize& size = wxSize(320, 240),
                   long style = wxDEFAULT_DIALOG_STYLE);

    wxStaticText* m_minutesLabel = nullptr;
    wxTextCtrl* m_minutesText = nullptr;
    wxButton* m_cancelButton = nullptr;
    wxButton* m_okButton = nullptr;

protected:
    virtual void OnCloseDialog(wxCloseEvent& event) { event.Skip(); }
    virtual void OnMinutesChanged(wxCommandEvent& event) { event.Skip(); }
    virtual void OnCancelClick(wxCommandEvent& event) { event.Skip(); }
    virtual void OnOkClick(wxCommandEvent& event) { event.Skip(); }
};

class HeatDialog : public HeatDialogBase {
public:
    explicit HeatDialog(wxWindow* parent);

protected:
    void OnCloseDialog(wxCloseEvent& event) override;
    void OnMinutesChanged(wxCommandEvent& event) override;
    void OnCancelClick(wxCommandEvent& event) override;
    void OnOkClick(wxCommandEvent& event) override;

private:
    void Cancel();

    std::int32_t m_entryHeatTestMillis;
};
