// File, Options: the chart rows and the heat time, applied or saved.
#pragma once

#include <wx/dialog.h>

#include <cstdint>

class wxButton;
class wxStaticText;
class wxTextCtrl;

class OptionsDialogBase : public wxDialog {
public:
    OptionsDialogBase(wxWindow* parent, wxWindowID id = wxID_ANY,
                      const wxString& title = wxS("Options - configure application"),
                      const wxPoint& pos = wxDefaultPosition, const wxSize& size = wxSize(400, 300),
                      long style = wxDEFAULT_DIALOG_STYLE);

    wxStaticText* m_resultLinesLabel = nullptr;
    wxTextCtrl* m_resultLinesText = nullptr;
    wxStaticText* m_heatTimeLabel = nullptr;
    wxTextCtrl* m_heatTimeText = nullptr;
    wxButton* m_cancelButton = nullptr;
    wxButton* m_defaultButton = nullptr;
    wxButton* m_saveButton = nullptr;
    wxButton* m_okButton = nullptr;

protected:
    virtual void OnCloseDialog(wxCloseEvent& event) { event.Skip(); }
    virtual void OnResultLinesChanged(wxCommandEvent& event) { event.Skip(); }
    virtual void OnHeatTimeChanged(wxCommandEvent& event) { event.Skip(); }
    virtual void OnCancelClick(wxCommandEvent& event) { event.Skip(); }
    virtual void OnDefaultClick(wxCommandEvent& event) { event.Skip(); }
    virtual void OnSaveClick(wxCommandEvent& event) { event.Skip(); }
    virtual void OnOkClick(wxCommandEvent& event) { event.Skip(); }
};

class OptionsDialog : public OptionsDialogBase {
public:
    explicit OptionsDialog(wxWindow* parent);

protected:
    void OnCloseDialog(wxCloseEvent& event) override;
    void OnResultLinesChanged(wxCommandEvent& event) override;
    void OnHeatTimeChanged(wxCommandEvent& event) override;
    void OnCancelClick(wxCommandEvent& event) override;
    void OnDefaultClick(wxCommandEvent& event) override;
    void OnSaveClick(wxCommandEvent& event) override;
    void OnOkClick(wxCommandEvent& event) override;

private:
    void Accept(char mode);
    void Cancel();

    std::int32_t savedCpuList;
    std::int32_t savedHeatTime;
};
