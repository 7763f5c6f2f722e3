// The main window: menu handlers and the paint dispatch on DisplayMode.
#pragma once

#include "gui/main_frame_base.h"

#include <wx/thread.h>

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
    wxCriticalSection m_criticalSection;  // made and destroyed with the frame; never entered
};
