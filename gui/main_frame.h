// The main window: menu handlers and the paint dispatch on DisplayMode.
#pragma once

#include "core/state.h"
#include "gui/main_frame_base.h"

#include <wx/thread.h>

#include <functional>
#include <optional>

class wxDialog;

/// Handles the windows' pending events (repaints, moves, menus): what the
/// main window does while the power test waits for its threads.
void AnswerWindowEvents();

class MainFrame : public MainFrameBase {
public:
    explicit MainFrame(wxWindow* parent);

    /// Repaints the client area before returning.
    void RepaintNow();

protected:
    void OnCloseFrame(wxCloseEvent& event) override;
    void OnPaint(wxPaintEvent& event) override;
    void OnSearch(wxCommandEvent& event) override;
    void OnOptions(wxCommandEvent& event) override;
    void OnQuit(wxCommandEvent& event) override;
    void OnPower(wxCommandEvent& event) override;
    void OnSpeed(wxCommandEvent& event) override;
    void OnHeat(wxCommandEvent& event) override;
    void OnInfo(wxCommandEvent& event) override;
    void OnResults(wxCommandEvent& event) override;
    void OnManual(wxCommandEvent& event) override;
    void OnHistory(wxCommandEvent& event) override;
    void OnAbout(wxCommandEvent& event) override;

private:
    /// Enables or disables every command that starts work, changes the
    /// results or the settings, or changes what the area shows.
    void EnableWorkCommands(bool enable);
    /// What every command that works does around its work: nothing while
    /// the power test runs; else `before` (the command's display mode and
    /// the globals it clears), repaint now; the work, which gives the mode to
    /// show after it (nullopt: the frame is gone, nothing more is done);
    /// that mode, repaint now.
    void RunCommand(const std::function<void()>& before, const std::function<std::optional<DisplayModes>()>& work);
    /// Shows a help viewer modally over a blank area (over "Please wait ..."
    /// during the power test).
    void ShowViewer(wxDialog* viewer);
    wxCriticalSection m_criticalSection;  // made and destroyed with the frame; never entered
    bool m_powerTestRunning = false;
    bool m_closeAfterTest = false;  ///< closed during the power test: goes when the workers have ended
};
