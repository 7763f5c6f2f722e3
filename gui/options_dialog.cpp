#include "gui/options_dialog.h"

#include "core/numbers.h"
#include "core/state.h"
#include "config/config_file.h"
#include "gui/dialog_support.h"

#include <wx/button.h>
#include <wx/msgdlg.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

namespace {
wxString Decimal(std::int32_t value)
{
    return wxString::Format(wxS("%i"), value);
}

std::int32_t Parse(const wxTextCtrl* field)
{
    return ParseInt(field->GetValue().wc_str());
}

void RefusePositive()
{
    wxMessageBox(PositiveNumberLabel, wxASCII_STR(wxMessageBoxCaptionStr), wxOK | wxCENTRE, MainWindow());
}
}  // namespace

OptionsDialogBase::OptionsDialogBase(wxWindow* parent, wxWindowID id, const wxString& title, const wxPoint& pos,
                                     const wxSize& size, long style)
    : wxDialog(parent, id, title, pos, size, style)
{
    auto* box = new wxBoxSizer(wxVERTICAL);
    box->Add(0, 0, 1, wxEXPAND, 5);
    auto* grid = new wxFlexGridSizer(2, 2, 0, 0);
    grid->SetFlexibleDirection(wxBOTH);
    grid->SetNonFlexibleGrowMode(wxFLEX_GROWMODE_SPECIFIED);
    m_resultLinesLabel = new wxStaticText(this, wxID_ANY, wxS("Result lines to display:"));
    grid->Add(m_resultLinesLabel, 0, wxALL | wxALIGN_CENTER_VERTICAL, 5);
    m_resultLinesText = new wxTextCtrl(this, wxID_ANY);
    grid->Add(m_resultLinesText, 0, wxALL, 5);
    m_heatTimeLabel = new wxStaticText(this, wxID_ANY, wxS("Heat time (minutes):"));
    grid->Add(m_heatTimeLabel, 0, wxALL | wxALIGN_CENTER_VERTICAL, 5);
    m_heatTimeText = new wxTextCtrl(this, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize,
                                    wxTE_PROCESS_ENTER);
    grid->Add(m_heatTimeText, 0, wxALL, 5);
    box->Add(grid, 0, wxALIGN_CENTER_HORIZONTAL | wxALL, 5);
    box->Add(0, 0, 1, wxEXPAND, 5);
    auto* buttons = new wxBoxSizer(wxHORIZONTAL);
    m_cancelButton = new wxButton(this, wxID_CANCEL, wxS("Cancel"));
    buttons->Add(m_cancelButton, 0, wxALL, 5);
    m_defaultButton = new wxButton(this, wxID_ANY, wxS("Default"));
    buttons->Add(m_defaultButton, 0, wxALL, 5);
    m_saveButton = new wxButton(this, wxID_SAVE, wxS("Save"));
    buttons->Add(m_saveButton, 0, wxALL, 5);
    m_okButton = new wxButton(this, wxID_OK, wxS("OK"));
    buttons->Add(m_okButton, 0, wxALL, 5);
    box->Add(buttons, 0, wxALIGN_CENTER_HORIZONTAL | wxALL, 5);
    SetSizer(box);
    Layout();
    KeepContentsVisible(*this);

    Bind(wxEVT_CLOSE_WINDOW, &OptionsDialogBase::OnCloseDialog, this);
    m_resultLinesText->Bind(wxEVT_TEXT, &OptionsDialogBase::OnResultLinesChanged, this);
    m_heatTimeText->Bind(wxEVT_TEXT, &OptionsDialogBase::OnHeatTimeChanged, this);
    m_heatTimeText->Bind(wxEVT_TEXT_ENTER, &OptionsDialogBase::OnHeatTimeChanged, this);
    m_cancelButton->Bind(wxEVT_BUTTON, &OptionsDialogBase::OnCancelClick, this);
    m_defaultButton->Bind(wxEVT_BUTTON, &OptionsDialogBase::OnDefaultClick, this);
    m_saveButton->Bind(wxEVT_BUTTON, &OptionsDialogBase::OnSaveClick, this);
    m_okButton->Bind(wxEVT_BUTTON, &OptionsDialogBase::OnOkClick, this);
}

OptionsDialog::OptionsDialog(wxWindow* parent)
    : OptionsDialogBase(parent), savedCpuList(CpuListCount), savedHeatTime(HeatTestMillis)
{
    m_resultLinesText->ChangeValue(Decimal(CpuListCount));
    m_heatTimeText->ChangeValue(Decimal(HeatTestMillis / 60000));
}

void OptionsDialog::OnResultLinesChanged(wxCommandEvent&)
{
    CpuListCount = Parse(m_resultLinesText);
    if (CpuListCount < 0) {
        CpuListCount = savedCpuList;
        m_resultLinesText->ChangeValue(Decimal(savedCpuList));
        RefusePositive();
    }
}

void OptionsDialog::OnHeatTimeChanged(wxCommandEvent&)
{
    HeatTestMillis = WrappingMultiply(Parse(m_heatTimeText), 60000);
    if (HeatTestMillis < 0) {
        HeatTestMillis = savedHeatTime;
        m_heatTimeText->ChangeValue(Decimal(savedHeatTime / 60000));
        RefusePositive();
    }
}

void OptionsDialog::OnDefaultClick(wxCommandEvent&)
{
    CpuListCount = 20;
    HeatTestMillis = 60000;
    m_resultLinesText->ChangeValue(wxS("20"));
    m_heatTimeText->ChangeValue(wxS("1"));
}

void OptionsDialog::Accept(char mode)
{
    CpuListCount = Parse(m_resultLinesText);
    HeatTestMillis = WrappingMultiply(Parse(m_heatTimeText), 60000);
    ConfigMode = mode;
    CloseDialog(*this, wxID_OK);
}

void OptionsDialog::OnSaveClick(wxCommandEvent&)
{
    Accept(static_cast<char>(ConfigModeSave));
}

void OptionsDialog::OnOkClick(wxCommandEvent&)
{
    Accept(static_cast<char>(ConfigModeApply));
}

void OptionsDialog::Cancel()
{
    CpuListCount = savedCpuList;
    HeatTestMillis = savedHeatTime;
    DialogCancelled = 1;
    CloseDialog(*this, wxID_CANCEL);
}

void OptionsDialog::OnCancelClick(wxCommandEvent&)
{
    Cancel();
}

void OptionsDialog::OnCloseDialog(wxCloseEvent&)
{
    Cancel();
}
