#include "gui/power_thread_dialog.h"

#include "core/numbers.h"
#include "core/state.h"
#include "gui/dialog_support.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/msgdlg.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

namespace {
std::int32_t Parse(const wxTextCtrl* field)
{
    return ParseInt(field->GetValue().wc_str());
}

wxString Decimal(std::int64_t value)
{
    return wxString::Format(wxS("%i"), static_cast<int>(value));
}

void RefusePositive()
{
    wxMessageBox(PositiveNumberLabel, wxASCII_STR(wxMessageBoxCaptionStr), wxOK | wxCENTRE, MainWindow());
}
}  // namespace

PowerThreadDialogBase::PowerThreadDialogBase(wxWindow* parent, wxWindowID id, const wxString& title,
                                             const wxPoint& pos, const wxSize& size, long style)
    : wxDialog(parent, id, title, pos, size, style)
{
    auto* box = new wxBoxSizer(wxVERTICAL);
    box->Add(0, 5, 1, wxEXPAND, 5);
    m_heading = new wxStaticText(this, wxID_ANY, wxS("Set test parameters:"));
    m_heading->Wrap(-1);
    box->Add(m_heading, 0, wxALL, 5);
    box->Add(0, 20, 0, wxEXPAND, 5);

    auto* grid = new wxFlexGridSizer(3, 3, 0, 0);
    grid->SetFlexibleDirection(wxBOTH);
    grid->SetNonFlexibleGrowMode(wxFLEX_GROWMODE_SPECIFIED);
    m_threadsLabel = new wxStaticText(this, wxID_ANY, wxS("Number of concurrent tasks (threads):"));
    m_threadsLabel->Wrap(-1);
    grid->Add(m_threadsLabel, 0, wxALL | wxALIGN_CENTER_VERTICAL, 5);
    grid->Add(0, 0, 1, wxEXPAND, 5);
    m_threadsText = new wxTextCtrl(this, wxID_ANY);
    grid->Add(m_threadsText, 0, wxALL, 5);
    m_httLabel = new wxStaticText(this, wxID_ANY,
                                  wxS("Processor with HTT:\n(also estimates real life core efficiency if no "
                                      "result\nentered below; could vary)"));
    m_httLabel->Wrap(-1);
    grid->Add(m_httLabel, 0, wxALL | wxALIGN_CENTER_VERTICAL, 5);
    grid->Add(0, 0, 1, wxEXPAND, 5);
    m_httCheck = new wxCheckBox(this, wxID_ANY, wxEmptyString);
    grid->Add(m_httCheck, 0, wxALL | wxALIGN_RIGHT, 5);
    m_httResultLabel = new wxStaticText(
        this, wxID_ANY,
        wxS("Hardware disabled HTT power test result:\n(for accurate and maximum theoretical core efficiency)"));
    m_httResultLabel->Wrap(-1);
    grid->Add(m_httResultLabel, 0, wxALL, 5);
    grid->Add(0, 0, 1, wxEXPAND, 5);
    m_httResultText = new wxTextCtrl(this, wxID_ANY);
    grid->Add(m_httResultText, 0, wxALL, 5);
    box->Add(grid, 0, wxEXPAND | wxALL, 5);

    box->Add(0, 10, 1, wxEXPAND, 5);
    auto* buttons = new wxFlexGridSizer(2, 2, 0, 230);
    m_cancelButton = new wxButton(this, wxID_CANCEL, wxS("Cancel"));
    buttons->Add(m_cancelButton, 0, wxALL, 5);
    m_okButton = new wxButton(this, wxID_OK, wxS("OK"));
    m_okButton->SetDefault();  // Enter in a field confirms
    buttons->Add(m_okButton, 0, wxALL, 5);
    box->Add(buttons, 0, wxEXPAND, 5);
    box->Add(0, 5, 0, wxEXPAND, 5);

    SetSizer(box);
    Layout();
    KeepContentsVisible(*this);

    Bind(wxEVT_CLOSE_WINDOW, &PowerThreadDialogBase::OnCloseDialog, this);
    m_threadsText->Bind(wxEVT_TEXT, &PowerThreadDialogBase::OnThreadsChanged, this);
    m_httCheck->Bind(wxEVT_CHECKBOX, &PowerThreadDialogBase::OnHttToggled, this);
    m_httResultText->Bind(wxEVT_TEXT, &PowerThreadDialogBase::OnHttResultChanged, this);
    m_cancelButton->Bind(wxEVT_BUTTON, &PowerThreadDialogBase::OnCancelClick, this);
    m_okButton->Bind(wxEVT_BUTTON, &PowerThreadDialogBase::OnOkClick, this);
}

PowerThreadDialog::PowerThreadDialog(wxWindow* parent)
    : PowerThreadDialogBase(parent),
      m_entryThreads(ThreadCount),
      m_entryHttOffResult(HttOffResult),
      m_entryHttOption(HttOption)
{
    m_threadsText->ChangeValue(Decimal(ThreadCount));
    m_httResultText->ChangeValue(Decimal(HttOffResult));
    m_httCheck->SetValue(HttOption != 0);
}

void PowerThreadDialog::OnThreadsChanged(wxCommandEvent&)
{
    m_lastThreads = Parse(m_threadsText);
    ThreadCount = static_cast<std::uint32_t>(m_lastThreads);
    if (m_lastThreads < 0) {
        ThreadCount = m_entryThreads;
        m_threadsText->ChangeValue(Decimal(m_entryThreads));
        RefusePositive();
    }
}

void PowerThreadDialog::OnHttResultChanged(wxCommandEvent&)
{
    m_lastHttOffResult = Parse(m_httResultText);
    HttOffResult = static_cast<std::uint32_t>(m_lastHttOffResult);
    if (m_lastHttOffResult < 0) {
        HttOffResult = m_entryHttOffResult;
        m_httResultText->ChangeValue(Decimal(m_entryHttOffResult));
        RefusePositive();
    }
}

void PowerThreadDialog::OnHttToggled(wxCommandEvent&)
{
    HttOption = HttOption == 0 ? 1 : 0;
}

void PowerThreadDialog::OnOkClick(wxCommandEvent&)
{
    ThreadCount = static_cast<std::uint32_t>(Parse(m_threadsText));
    HttOffResult = static_cast<std::uint32_t>(Parse(m_httResultText));
    CloseDialog(*this, wxID_OK);
}

void PowerThreadDialog::Cancel()
{
    ThreadCount = m_entryThreads;
    HttOffResult = m_entryHttOffResult;
    HttOption = m_entryHttOption;
    DialogCancelled = 1;
    CloseDialog(*this, wxID_CANCEL);
}

void PowerThreadDialog::OnCancelClick(wxCommandEvent&)
{
    Cancel();
}

void PowerThreadDialog::OnCloseDialog(wxCloseEvent&)
{
    Cancel();
}
