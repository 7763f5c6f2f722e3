// Processor, Results: browse, find, add, edit and delete stored results.
#pragma once

#include "core/state.h"

#include <wx/dialog.h>

#include <array>
#include <cstdint>

class wxButton;
class wxChoice;
class wxStaticText;
class wxTextCtrl;

class ResultDialogBase : public wxDialog {
public:
    ResultDialogBase(wxWindow* parent, wxWindowID id = wxID_ANY, const wxString& title = wxS("Result info"),
                     const wxPoint& pos = wxDefaultPosition, const wxSize& size = wxSize(480, 720),
                     long style = wxDEFAULT_DIALOG_STYLE);

    wxStaticText* m_heading = nullptr;
    std::array<wxStaticText*, RecordFieldCount> m_labels{};
    std::array<wxTextCtrl*, RecordFieldCount - 1> m_fields{};  ///< Manufacturer ... Power points
    wxChoice* m_displayChoice = nullptr;
    wxButton* m_newButton = nullptr;
    wxButton* m_lastTestButton = nullptr;
    wxButton* m_deleteButton = nullptr;
    wxButton* m_saveButton = nullptr;
    wxTextCtrl* m_searchText = nullptr;
    wxButton* m_findPreviousButton = nullptr;
    wxButton* m_findNextButton = nullptr;
    wxTextCtrl* m_resultText = nullptr;
    wxStaticText* m_totalLabel = nullptr;
    wxButton* m_showButton = nullptr;
    wxButton* m_cancelButton = nullptr;
    wxButton* m_firstButton = nullptr;
    wxButton* m_previousButton = nullptr;
    wxButton* m_nextButton = nullptr;
    wxButton* m_lastButton = nullptr;
    wxButton* m_closeButton = nullptr;

protected:
    virtual void OnClose(wxCloseEvent& event) { event.Skip(); }
    virtual void OnNew(wxCommandEvent& event) { event.Skip(); }
    virtual void OnLastTest(wxCommandEvent& event) { event.Skip(); }
    virtual void OnDelete(wxCommandEvent& event) { event.Skip(); }
    virtual void OnSave(wxCommandEvent& event) { event.Skip(); }
    virtual void OnFindPrevious(wxCommandEvent& event) { event.Skip(); }
    virtual void OnFindNext(wxCommandEvent& event) { event.Skip(); }
    virtual void OnShow(wxCommandEvent& event) { event.Skip(); }
    virtual void OnCancel(wxCommandEvent& event) { event.Skip(); }
    virtual void OnFirst(wxCommandEvent& event) { event.Skip(); }
    virtual void OnPrevious(wxCommandEvent& event) { event.Skip(); }
    virtual void OnNext(wxCommandEvent& event) { event.Skip(); }
    virtual void OnLast(wxCommandEvent& event) { event.Skip(); }
};

class ResultDialog : public ResultDialogBase {
public:
    explicit ResultDialog(wxWindow* parent);

    /// The fields hold a record that is not in the file yet.
    std::int32_t NewRecordMode = 0;

protected:
    void OnClose(wxCloseEvent& event) override;
    void OnNew(wxCommandEvent& event) override;
    void OnLastTest(wxCommandEvent& event) override;
    void OnDelete(wxCommandEvent& event) override;
    void OnSave(wxCommandEvent& event) override;
    void OnFindPrevious(wxCommandEvent& event) override;
    void OnFindNext(wxCommandEvent& event) override;
    void OnShow(wxCommandEvent& event) override;
    void OnCancel(wxCommandEvent& event) override;
    void OnFirst(wxCommandEvent& event) override;
    void OnPrevious(wxCommandEvent& event) override;
    void OnNext(wxCommandEvent& event) override;
    void OnLast(wxCommandEvent& event) override;

    /// The fields from RecordFields, "Result:" and the total.
    virtual void ShowRecord();
    /// RecordFields from the fields.
    virtual void ReadFields();
    /// Every text field empty, "Display" at "yes".
    virtual void ClearFields();
    /// Moves to the previous (direction < 0) or next record holding the
    /// search text; stays when there is none.
    virtual void Find(int direction);
    /// DialogSearchText from the "Search:" field, lower-cased.
    virtual void ReadSearchText();
    /// Enables or disables all thirteen buttons.
    virtual void EnableControls(bool enable);
    /// A new record needs manufacturer, model, logical processors, speed and power.
    virtual bool RequiredFieldsPresent();

private:
    void SplitAndShow();
    void EnterNewRecordMode();
    /// Deletes or replaces the record shown; when another program removed it
    /// meanwhile, says so and shows the table as it now is.
    int ChangeShownRecord(int op);

    /// The line of the record shown, as the table held it then: a change
    /// acts on that record even if another program has moved it.
    wxString m_shownLine;
};
