#include "gui/dialog_support.h"

#include <wx/app.h>
#include <wx/dialog.h>
#include <wx/display.h>
#include <wx/modalhook.h>
#include <wx/toplevel.h>

#include <algorithm>
#include <memory>
#include <set>

namespace {
// Opens each modal dialog centred on the main window (without a parent, GTK
// and the window manager put it anywhere), and destroys the dialogs handed
// to it when their ShowModal() returns.
class ModalDialogs : public wxModalDialogHook {
public:
    ModalDialogs() { Register(); }
    ~ModalDialogs() override { Unregister(); }

    void DestroyAfterModal(wxDialog* dialog) { m_toDestroy.insert(dialog); }

protected:
    int Enter(wxDialog* dialog) override
    {
        CentreOnMainWindow(*dialog);
        // A window manager may place a window without a parent where it
        // likes as it maps it, whatever position was asked for: once it is
        // mapped and given the focus, it is moved back to the centre.
        auto placed = std::make_shared<bool>(false);  // once for each showing
        dialog->Bind(wxEVT_ACTIVATE, [dialog, placed](wxActivateEvent& event) {
            event.Skip();
            if (event.GetActive() && !*placed) {
                *placed = true;
                dialog->CallAfter([dialog] { CentreOnMainWindow(*dialog); });
            }
        });
        return wxID_NONE;
    }

    void Exit(wxDialog* dialog) override
    {
        if (m_toDestroy.erase(dialog) != 0)
            dialog->Destroy();
    }

private:
    static void CentreOnMainWindow(wxDialog& dialog)
    {
        auto* main = wxDynamicCast(MainWindow(), wxTopLevelWindow);
        // A GTK message box has no window before it is shown; it is centred
        // on its parent by GTK.
        if (main == nullptr || main == &dialog || !main->IsShown() || main->IsIconized() ||
            dialog.GetHandle() == nullptr)
            return;
        wxRect rect = dialog.GetRect().CentreIn(main->GetScreenRect());
        // Whole on the main window's display where it fits, its title bar
        // on it where it does not.
        const int display = wxDisplay::GetFromWindow(main);
        if (display != wxNOT_FOUND) {
            const wxRect area = wxDisplay(static_cast<unsigned>(display)).GetClientArea();
            rect.x = std::max(area.x, std::min(rect.x, area.GetRight() + 1 - rect.width));
            rect.y = std::max(area.y, std::min(rect.y, area.GetBottom() + 1 - rect.height));
        }
        dialog.Move(rect.GetPosition());
    }

    std::set<wxDialog*> m_toDestroy;
};

// Registered at start-up, so that it sees the first dialog too.
ModalDialogs modalDialogs;
}  // namespace

void CloseDialog(wxDialog& dialog, int returnCode)
{
    if (dialog.IsModal()) {
        modalDialogs.DestroyAfterModal(&dialog);
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

wxWindow* MainWindow()
{
    return wxTheApp != nullptr ? wxTheApp->GetTopWindow() : nullptr;
}
