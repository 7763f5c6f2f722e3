#include "gui/heat_dialog.h"

#include "core/numbers.h"
#include "core/state.h"
#include "gui/dialog_support.h"

#include <wx/button.h>
#include <wx/msgdlg.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

namespace {
// Minutes typed, in milliseconds; 32-bit, wrapping as the multiplication does.
std::int32_t TypedMillis(const wxTextCtrl* field)
{
    return WrappingMultiply(ParseInt(field->GetValue().wc_str()), 60000);
}

wxString Minutes(std::int32_t millis)
{
    return wxString::Format(wxS("%i"), millis / 60000);
}
}  // namespace

HeatDialogBase::HeatDialogBase(wxWindow* parent, wxWindowID id, const wxString& title, const wxPoint& pos,
                               const wxSize& size, long style)
    : wxDialog(parent, id, title, pos, size, style)
{
    auto* box = new wxBoxSizer(wxVERTICAL);
    box->Add(0, 75, 0, wxEXPAND, 5);
    auto* grid = new wxFlexGridSizer(2, 2, 0, 0);
    grid->SetFlexibleDirection(wxBOTH);
    grid->SetNonFlexibleGrowMode(wxFLEX_GROWMODE_SPECIFIED);
    m_minutesLabel = new wxStaticText(this, wxID_ANY, wxS("Heating time (minutes):"));
    m_minutesLabel->Wrap(-1);
    grid->Add(m_minutesLabel, 0, wxALL | wxALIGN_CENTER_VERTICAL, 5);
    m_minutesText = new wxTextCtrl(this, wxID_ANY);
    grid->Add(m_minutesText, 0, wxALL, 5);
    box->Add(grid, 0, wxEXPAND, 5);
    box->Add(0, 0, 1, wxEXPAND, 5);
    auto* buttons = new wxFlexGridSizer(2, 2, 0, 123);
    m_cancelButton = new wxButton(this, wxID_CANCEL, wxS("Cancel"));
    buttons->Add(m_cancelButton, 0, wxALL, 5);
    m_okButton = new wxButton(this, wxID_OK, wxS("OK"));
    m_okButton->SetDefault();  // Enter in the field confirms
    buttons->Add(m_okButton, 0, wxALL, 5);
    box->Add(buttons, 0, wxEXPAND, 5);
    box->Add(0, 10, 0, wxEXPAND, 5);
    SetSizer(box);
    Layout();
    KeepContentsVisible(*this);

    Bind(wxEVT_CLOSE_WINDOW, &HeatDialogBase::OnCloseDialog, this);
    m_minutesText->Bind(wxEVT_TEXT, &HeatDialogBase::OnMinutesChanged, this);
    m_cancelButton->Bind(wxEVT_BUTTON, &HeatDialogBase::OnCancelClick, this);
    m_okButton->Bind(wxEVT_BUTTON, &HeatDialogBase::OnOkClick, this);
}

HeatDialog::HeatDialog(wxWindow* parent) : HeatDialogBase(parent), m_entryHeatTestMillis(HeatTestMillis)
{
    m_minutesText->ChangeValue(Minutes(HeatTestMillis));
}

void HeatDialog::OnMinutesChanged(wxCommandEvent&)
{
    HeatTestMillis = TypedMillis(m_minutesText);
    if (HeatTestMillis < 0) {
        HeatTestMillis = m_entryHeatTestMillis;
        m_minutesText->ChangeValue(Minutes(m_entryHeatTestMillis));
        wxMessageBox(PositiveNumberLabel, wxASCII_STR(wxMessageBoxCaptionStr), wxOK | wxCENTRE, MainWindow());
    }
}

void HeatDialog::OnOkClick(wxCommandEvent&)
{
    HeatTestMillis = TypedMillis(m_minutesText);
    CloseDialog(*this, wxID_OK);
}

void HeatDialog::Cancel()
{
    HeatTestMillis = m_entryHeatTestMillis;
    DialogCancelled = 1;
    CloseDialog(*this, wxID_CANCEL);
}

void HeatDialog::OnCancelClick(wxCommandEvent&)
{
    Cancel();
}

void HeatDialog::OnCloseDialog(wxCloseEvent&)
{
    Cancel();
}
