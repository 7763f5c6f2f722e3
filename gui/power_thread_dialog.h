// The power test's parameters: thread count, the HTT option and a result
// measured with Hyper-Threading switched off.
#pragma once

#include <wx/dialog.h>

#include <cstdint>

class wxButton;
class wxCheckBox;
class wxStaticText;
class wxTextCtrl;

class PowerThreadDialogBase : public wxDialog {
public:
    PowerThreadDialogBase(wxWindow* parent, wxWindowID id = wxID_ANY,
                          const wxString& title = wxS("Power - Cpu threads"),
                          const wxPoint& pos = wxDefaultPosition, const wxSize& size = wxSize(435, 280),
                          long style = wxDEFAULT_DIALOG_STYLE);

    wxStaticText* m_heading = nullptr;
    wxStaticText* m_threadsLabel = nullptr;
    wxTextCtrl* m_threadsText = nullptr;
    wxStaticText* m_httLabel = nullptr;
    wxCheckBox* m_httCheck = nullptr;
    wxStaticText* m_httResultLabel = nullptr;
    wxTextCtrl* m_httResultText = nullptr;
    wxButton* m_cancelButton = nullptr;
    wxButton* m_okButton = nullptr;

protected:
    virtual void OnCloseDialog(wxCloseEvent& event) { event.Skip(); }
    virtual void OnThreadsChanged(wxCommandEvent& event) { event.Skip(); }
    virtual void OnHttToggled(wxCommandEvent& event) { event.Skip(); }
    virtual void OnHttResultChanged(wxCommandEvent& event) { event.Skip(); }
    virtual void OnCancelClick(wxCommandEvent& event) { event.Skip(); }
    virtual void OnOkClick(wxCommandEvent& event) { event.Skip(); }
};

class PowerThreadDialog : public PowerThreadDialogBase {
public:
    explicit PowerThreadDialog(wxWindow* parent);

protected:
    void OnCloseDialog(wxCloseEvent& event) override;
    void OnThreadsChanged(wxCommandEvent& event) override;
    void OnHttToggled(wxCommandEvent& event) override;
    void OnHttResultChanged(wxCommandEvent& event) override;
    void OnCancelClick(wxCommandEvent& event) override;
    void OnOkClick(wxCommandEvent& event) override;

private:
    void Cancel();

    std::uint32_t m_entryThreads;
    std::uint32_t m_entryHttOffResult;
    std::uint32_t m_entryHttOption;
    std::int32_t m_lastThreads = 0;
    std::int32_t m_lastHttOffResult = 0;
};
