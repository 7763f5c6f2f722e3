// Help, History: shows doc/history_tarnwick.txt from the working directory.
#pragma once

#include <wx/dialog.h>

class wxButton;
class wxTextCtrl;

class HistoryDialogBase : public wxDialog {
public:
    HistoryDialogBase(wxWindow* parent, wxWindowID id = wxID_ANY,
                     const wxString& title = wxS("Help - History"),
                     const wxPoint& pos = wxDefaultPosition, const wxSize& size = wxSize(640, 640),
                     long style = wxDEFAULT_DIALOG_STYLE);

    wxTextCtrl* m_text = nullptr;
    wxButton* m_closeButton = nullptr;

protected:
    virtual void OnCloseDialog(wxCloseEvent& event) { event.Skip(); }
    virtual void OnCloseClick(wxCommandEvent& event) { event.Skip(); }
};

class HistoryDialog : public HistoryDialogBase {
public:
    explicit HistoryDialog(wxWindow* parent);

protected:
    void OnCloseDialog(wxCloseEvent& event) override;
    void OnCloseClick(wxCommandEvent& event) override;
};
