// Layout of the main window: menus, status bar, and the events bound to
// virtual handlers that MainFrame overrides.
#pragma once

#include <wx/frame.h>

class wxMenu;
class wxMenuBar;
class wxMenuItem;
class wxStatusBar;

class MainFrameBase : public wxFrame {
public:
    MainFrameBase(wxWindow* parent, wxWindowID id, const wxString& title, const wxPoint& pos,
                  const wxSize& size, long style);

    wxMenuBar* m_menuBar = nullptr;
    wxMenu* m_fileMenu = nullptr;
    wxMenu* m_processorMenu = nullptr;
    wxMenu* m_helpMenu = nullptr;
    wxMenuItem* m_searchItem = nullptr;
    wxMenuItem* m_optionsItem = nullptr;
    wxMenuItem* m_exitItem = nullptr;
    wxMenuItem* m_powerItem = nullptr;
    wxMenuItem* m_speedItem = nullptr;
    wxMenuItem* m_heatItem = nullptr;
    wxMenuItem* m_infoItem = nullptr;
    wxMenuItem* m_resultsItem = nullptr;
    wxMenuItem* m_manualItem = nullptr;
    wxMenuItem* m_historyItem = nullptr;
    wxMenuItem* m_aboutItem = nullptr;
    wxStatusBar* m_statusBar = nullptr;

protected:
    virtual void OnCloseFrame(wxCloseEvent& event) { event.Skip(); }
    virtual void OnPaint(wxPaintEvent& event) { event.Skip(); }
    virtual void OnSearch(wxCommandEvent& event) { event.Skip(); }
    virtual void OnOptions(wxCommandEvent& event) { event.Skip(); }
    virtual void OnQuit(wxCommandEvent& event) { event.Skip(); }
    virtual void OnPower(wxCommandEvent& event) { event.Skip(); }
    virtual void OnSpeed(wxCommandEvent& event) { event.Skip(); }
    virtual void OnHeat(wxCommandEvent& event) { event.Skip(); }
    virtual void OnInfo(wxCommandEvent& event) { event.Skip(); }
    virtual void OnResults(wxCommandEvent& event) { event.Skip(); }
    virtual void OnManual(wxCommandEvent& event) { event.Skip(); }
    virtual void OnHistory(wxCommandEvent& event) { event.Skip(); }
    virtual void OnAbout(wxCommandEvent& event) { event.Skip(); }
};
