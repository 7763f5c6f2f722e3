#include "gui/dialog_support.h"

#include <wx/dialog.h>
#include <wx/modalhook.h>

#include <set>

namespace {
// Destroys the dialogs handed to it when their ShowModal() returns.
class DestroyAfterModal : public wxModalDialogHook {
public:
    DestroyAfterModal() { Register(); }
    ~DestroyAfterModal() override { Unregister(); }

    void Add(wxDialog* dialog) { m_dialogs.insert(dialog); }

protected:
    int Enter(wxDialog*) override { return wxID_NONE; }
    void Exit(wxDialog* dialog) override
    {
        if (m_dialogs.erase(dialog) != 0)
            dialog->Destroy();
    }

private:
    std::set<wxDialog*> m_dialogs;
};
}  // namespace

void CloseDialog(wxDialog& dialog, int returnCode)
{
    if (dialog.IsModal()) {
        static DestroyAfterModal afterModal;
        afterModal.Add(&dialog);
        dialog.EndModal(returnCode);
    } else {
        dialog.Destroy();
    }
}

void KeepContentsVisible(wxDialog& dialog)
{
    wxSize size = dialog.GetSize();
    size.IncTo(dialog.GetBestSize());
    dialog.SetSize(size);
}
