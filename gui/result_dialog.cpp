#include "gui/result_dialog.h"

#include "core/numbers.h"
#include "gui/dialog_support.h"
#include "results/last_test.h"
#include "results/results_file.h"
#include "results/results_table.h"
#include "results/search.h"

#include <wx/button.h>
#include <wx/choice.h>
#include <wx/msgdlg.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <algorithm>
#include <cwchar>

namespace {
const wchar_t* const FieldLabels[RecordFieldCount] = {
    L"Manufacturer",      L"Model",           L"Rated frequency [MHz]",        L"Maximum frequency [MHz]",
    L"Number of processors", L"Number of cores", L"Number of logical processors", L"Operating system",
    L"OS version",        L"Speed points",    L"Power points",                 L"Display"};

std::size_t Width()
{
    return ResultLineWidth > 0 ? static_cast<std::size_t>(ResultLineWidth) : 0;
}
}  // namespace

ResultDialogBase::ResultDialogBase(wxWindow* parent, wxWindowID id, const wxString& title, const wxPoint& pos,
                                   const wxSize& size, long style)
    : wxDialog(parent, id, title, pos, size, style)
{
    auto* box = new wxBoxSizer(wxVERTICAL);
    m_heading = new wxStaticText(this, wxID_ANY, wxS("Results detailed informations"));
    box->Add(m_heading, 0, wxALL, 10);

    auto* grid = new wxFlexGridSizer(RecordFieldCount, 2, 0, 0);
    grid->SetFlexibleDirection(wxBOTH);
    grid->SetNonFlexibleGrowMode(wxFLEX_GROWMODE_SPECIFIED);
    for (int f = 0; f < RecordFieldCount; ++f) {
        m_labels[f] = new wxStaticText(this, wxID_ANY, FieldLabels[f]);
        grid->Add(m_labels[f], 0, wxALL | wxALIGN_CENTER_VERTICAL, 5);
        if (f < FieldDisplay) {
            m_fields[f] = new wxTextCtrl(this, wxID_ANY, wxEmptyString, wxDefaultPosition, wxSize(260, -1));
            grid->Add(m_fields[f], 0, wxALL, 5);
        }
    }
    const wxString choices[] = {wxS("yes"), wxS("no")};
    m_displayChoice = new wxChoice(this, wxID_ANY, wxDefaultPosition, wxDefaultSize, 2, choices);
    m_displayChoice->SetSelection(0);
    grid->Add(m_displayChoice, 0, wxALL, 5);
    box->Add(grid, 0, wxLEFT | wxRIGHT, 5);

    const auto row = [&](std::initializer_list<wxWindow*> windows) {
        auto* sizer = new wxBoxSizer(wxHORIZONTAL);
        for (wxWindow* window : windows)
            sizer->Add(window, 0, wxALL | wxALIGN_CENTER_VERTICAL, 5);
        box->Add(sizer, 0, wxLEFT | wxRIGHT | wxTOP, 5);
    };
    m_newButton = new wxButton(this, wxID_ANY, wxS("New"));
    m_lastTestButton = new wxButton(this, wxID_ANY, wxS("Last test"));
    m_deleteButton = new wxButton(this, wxID_ANY, wxS("Delete"));
    m_saveButton = new wxButton(this, wxID_ANY, wxS("Save"));
    row({m_newButton, m_lastTestButton, m_deleteButton, m_saveButton});

    auto* searchLabel = new wxStaticText(this, wxID_ANY, wxS("Search:"));
    m_searchText = new wxTextCtrl(this, wxID_ANY, wxEmptyString, wxDefaultPosition, wxSize(180, -1));
    m_findPreviousButton = new wxButton(this, wxID_ANY, wxS("<-"), wxDefaultPosition, wxSize(50, -1));
    m_findNextButton = new wxButton(this, wxID_ANY, wxS("->"), wxDefaultPosition, wxSize(50, -1));
    row({searchLabel, m_searchText, m_findPreviousButton, m_findNextButton});

    auto* resultLabel = new wxStaticText(this, wxID_ANY, wxS("Result:"));
    m_resultText = new wxTextCtrl(this, wxID_ANY, wxEmptyString, wxDefaultPosition, wxSize(80, -1));
    auto* slash = new wxStaticText(this, wxID_ANY, wxS("/"));
    m_totalLabel = new wxStaticText(this, wxID_ANY, wxS("0"), wxDefaultPosition, wxSize(60, -1));
    m_showButton = new wxButton(this, wxID_ANY, wxS("Show"));
    row({resultLabel, m_resultText, slash, m_totalLabel, m_showButton});

    m_cancelButton = new wxButton(this, wxID_CANCEL, wxS("Cancel"));
    m_firstButton = new wxButton(this, wxID_ANY, wxS("|<"), wxDefaultPosition, wxSize(40, -1));
    m_previousButton = new wxButton(this, wxID_ANY, wxS("<"), wxDefaultPosition, wxSize(40, -1));
    m_nextButton = new wxButton(this, wxID_ANY, wxS(">"), wxDefaultPosition, wxSize(40, -1));
    m_lastButton = new wxButton(this, wxID_ANY, wxS(">|"), wxDefaultPosition, wxSize(40, -1));
    m_closeButton = new wxButton(this, wxID_CLOSE, wxS("Close"));
    row({m_cancelButton, m_firstButton, m_previousButton, m_nextButton, m_lastButton, m_closeButton});

    SetSizer(box);
    Layout();
    KeepContentsVisible(*this);

    Bind(wxEVT_CLOSE_WINDOW, &ResultDialogBase::OnClose, this);
    m_newButton->Bind(wxEVT_BUTTON, &ResultDialogBase::OnNew, this);
    m_lastTestButton->Bind(wxEVT_BUTTON, &ResultDialogBase::OnLastTest, this);
    m_deleteButton->Bind(wxEVT_BUTTON, &ResultDialogBase::OnDelete, this);
    m_saveButton->Bind(wxEVT_BUTTON, &ResultDialogBase::OnSave, this);
    m_findPreviousButton->Bind(wxEVT_BUTTON, &ResultDialogBase::OnFindPrevious, this);
    m_findNextButton->Bind(wxEVT_BUTTON, &ResultDialogBase::OnFindNext, this);
    m_showButton->Bind(wxEVT_BUTTON, &ResultDialogBase::OnShow, this);
    // "Cancel" and "Close" do the same.
    m_cancelButton->Bind(wxEVT_BUTTON, &ResultDialogBase::OnCancel, this);
    m_closeButton->Bind(wxEVT_BUTTON, &ResultDialogBase::OnCancel, this);
    m_firstButton->Bind(wxEVT_BUTTON, &ResultDialogBase::OnFirst, this);
    m_previousButton->Bind(wxEVT_BUTTON, &ResultDialogBase::OnPrevious, this);
    m_nextButton->Bind(wxEVT_BUTTON, &ResultDialogBase::OnNext, this);
    m_lastButton->Bind(wxEVT_BUTTON, &ResultDialogBase::OnLast, this);
}

ResultDialog::ResultDialog(wxWindow* parent) : ResultDialogBase(parent)
{
    // Without a results file there is no table yet: an empty one holds the
    // record buffers, so the dialog still shows empty fields.
    EnsureRecordBuffers();
    NewRecordMode = 0;
    CurrentResult = 0;
    SplitAndShow();
}

void ResultDialog::SplitAndShow()
{
    SplitResultRecord(static_cast<std::uint32_t>(CurrentResult));
    const bool exists = ResultLines && CurrentResult >= 0 && CurrentResult < ResultLineCount;
    m_shownLine = exists ? wxString(ResultLines.get() + std::size_t(CurrentResult) * Width()) : wxString();
    ShowRecord();
}

int ResultDialog::ChangeShownRecord(int op)
{
    BackupPending = 1;
    const int status = ChangeShownResult(op, m_shownLine);
    if (status == ResultsRecordGone)
        wxMessageBox(wxS("Another program has changed the results table: the record shown is no longer in "
                         "it, and nothing was changed.\nThe table is shown as it is now."),
                     wxS("Tarnwick - results file"), wxOK | wxCENTRE, MainWindow());
    AccessResultsFile(ResultsOpLoad);
    return status;
}

void ResultDialog::ShowRecord()
{
    for (int f = 0; f < FieldDisplay; ++f)
        m_fields[f]->ChangeValue(RecordFields[f] ? RecordFields[f].get() : L"");
    if (RecordFields[FieldDisplay]) {
        const int entry = m_displayChoice->FindString(RecordFields[FieldDisplay].get(), true);
        if (entry != wxNOT_FOUND)
            m_displayChoice->SetSelection(entry);
    }
    m_resultText->ChangeValue(wxString::Format(wxS("%i"), CurrentResult + 1));
    m_totalLabel->SetLabel(wxString::Format(wxS("%i"), ResultLineCount));
}

void ResultDialog::ReadFields()
{
    for (int f = 0; f < FieldDisplay; ++f)
        SetRecordField(RecordField(f), m_fields[f]->GetValue());
    SetRecordField(FieldDisplay, m_displayChoice->GetStringSelection());
}

void ResultDialog::ClearFields()
{
    for (wxTextCtrl* field : m_fields)
        field->ChangeValue(wxEmptyString);
    m_displayChoice->SetSelection(0);
}

void ResultDialog::ReadSearchText()
{
    DialogSearchText = m_searchText->GetValue().Lower();
}

void ResultDialog::Find(int direction)
{
    ReadSearchText();
    const auto row = [](std::int32_t i) { return ResultLines.get() + std::size_t(i) * Width(); };
    if (ResultLines) {
        if (direction < 0) {
            for (std::int32_t i = CurrentResult - 1; i >= 0; --i)
                if (i < ResultLineCount && LineMatches(row(i), DialogSearchText)) {
                    CurrentResult = i;
                    break;
                }
        } else {
            for (std::int32_t i = std::max(CurrentResult + 1, 0); i < ResultLineCount; ++i)
                if (LineMatches(row(i), DialogSearchText)) {
                    CurrentResult = i;
                    break;
                }
        }
    }
    SplitAndShow();
}

void ResultDialog::EnableControls(bool enable)
{
    for (wxButton* button : {m_newButton, m_lastTestButton, m_deleteButton, m_saveButton, m_findPreviousButton,
                             m_findNextButton, m_showButton, m_cancelButton, m_firstButton, m_previousButton,
                             m_nextButton, m_lastButton, m_closeButton})
        button->Enable(enable);
}

bool ResultDialog::RequiredFieldsPresent()
{
    for (int f : {FieldManufacturer, FieldModel, FieldLogicalProcessors, FieldSpeedPoints, FieldPowerPoints})
        if (m_fields[f]->GetValue().empty())
            return false;
    return true;
}

void ResultDialog::EnterNewRecordMode()
{
    EnableControls(false);
    m_cancelButton->Enable(true);
    m_saveButton->Enable(true);
    NewRecordMode = 1;
    BackupPending = 1;
}

void ResultDialog::OnNew(wxCommandEvent&)
{
    ClearFields();
    EnterNewRecordMode();
}

void ResultDialog::OnLastTest(wxCommandEvent&)
{
    FillRecordFromLastTest();
    ShowRecord();
    EnterNewRecordMode();
}

void ResultDialog::OnSave(wxCommandEvent&)
{
    if (NewRecordMode != 0) {
        if (!RequiredFieldsPresent()) {
            wxMessageBox(wxS("Required fields: manufacturer, model, logical cores, speed and power."),
                         wxASCII_STR(wxMessageBoxCaptionStr), wxOK | wxCENTRE, MainWindow());
            return;
        }
        ReadFields();
        BackupPending = 1;
        const int status = AccessResultsFile(ResultsOpAppend);
        AccessResultsFile(ResultsOpLoad);
        // Not saved, and the user told why: the dialog stays as it was, the
        // record as typed, to be saved again or copied.
        if (status != 0)
            return;
        CurrentResult = ResultLineCount - 1;
        SplitAndShow();
    } else if (ResultLineCount > 0) {
        ReadFields();
        const int status = ChangeShownRecord(ResultsOpReplace);
        if (status != 0 && status != ResultsRecordGone)
            return;  // the edits stay in the fields
        CurrentResult = std::min(CurrentResult, ResultLineCount - 1);
        SplitAndShow();
    }
    EnableControls(true);
    NewRecordMode = 0;
}

void ResultDialog::OnDelete(wxCommandEvent&)
{
    if (ResultLineCount == 0) {
        wxMessageBox(NoResultsLabel, wxASCII_STR(wxMessageBoxCaptionStr), wxOK | wxCENTRE, MainWindow());
        return;
    }
    if (wxMessageBox(wxS("The result will be deleted.\nAre you sure?"), wxS("Delete result confirmation"),
                     wxOK | wxCANCEL | wxCENTRE, MainWindow()) != wxOK)
        return;
    ChangeShownRecord(ResultsOpDelete);
    if (ResultLineCount > 0) {
        // The last record deleted (or the table shortened by another
        // program): the new last one.
        if (CurrentResult >= ResultLineCount)
            CurrentResult = ResultLineCount - 1;
        SplitAndShow();
    } else {
        SplitAndShow();
        wxMessageBox(NoResultsLabel, wxASCII_STR(wxMessageBoxCaptionStr), wxOK | wxCENTRE, MainWindow());
    }
}

void ResultDialog::OnFindPrevious(wxCommandEvent&)
{
    Find(-1);
}

void ResultDialog::OnFindNext(wxCommandEvent&)
{
    Find(+1);
}

void ResultDialog::OnShow(wxCommandEvent&)
{
    const std::int64_t typed = ParseInt(m_resultText->GetValue().wc_str());
    std::int64_t index = std::max<std::int64_t>(typed - 1, 0);
    index = std::min<std::int64_t>(index, ResultLineCount - 1);
    CurrentResult = static_cast<std::int32_t>(index);
    SplitAndShow();
}

void ResultDialog::OnFirst(wxCommandEvent&)
{
    CurrentResult = 0;
    SplitAndShow();
}

void ResultDialog::OnPrevious(wxCommandEvent&)
{
    if (CurrentResult > 0)
        --CurrentResult;
    SplitAndShow();
}

void ResultDialog::OnNext(wxCommandEvent&)
{
    if (CurrentResult < ResultLineCount - 1)
        ++CurrentResult;
    SplitAndShow();
}

void ResultDialog::OnLast(wxCommandEvent&)
{
    CurrentResult = ResultLineCount - 1;
    SplitAndShow();
}

void ResultDialog::OnCancel(wxCommandEvent&)
{
    if (NewRecordMode != 0) {
        // The unsaved values are dropped.
        NewRecordMode = 0;
        BackupPending = 0;
        EnableControls(true);
        SplitAndShow();
        return;
    }
    DialogCancelled = 1;
    CloseDialog(*this, wxID_CANCEL);
}

void ResultDialog::OnClose(wxCloseEvent&)
{
    DialogCancelled = 1;
    CloseDialog(*this, wxID_CANCEL);
}
