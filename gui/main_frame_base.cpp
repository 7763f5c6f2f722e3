#include "gui/main_frame_base.h"

#include <wx/menu.h>
#include <wx/sizer.h>
#include <wx/statusbr.h>

MainFrameBase::MainFrameBase(wxWindow* parent, wxWindowID id, const wxString& title,
                             const wxPoint& pos, const wxSize& size, long style)
    : wxFrame(parent, id, title, pos, size, style, wxASCII_STR(wxFrameNameStr))
{
    SetSizeHints(wxDefaultSize, wxDefaultSize);

    m_menuBar = new wxMenuBar(0);

    m_fileMenu = new wxMenu(0);
    m_searchItem = m_fileMenu->Append(wxID_ANY, wxS("&Search"), wxS("Search"), wxITEM_NORMAL);
    m_optionsItem = m_fileMenu->Append(wxID_ANY, wxS("&Options"),
                                       wxS("Configuration for application"), wxITEM_NORMAL);
    m_exitItem = m_fileMenu->Append(wxID_EXIT, wxS("E&xit\tAlt+X"),
                                    wxEmptyString, wxITEM_NORMAL);
    m_menuBar->Append(m_fileMenu, wxS("&File"));

    m_processorMenu = new wxMenu(0);
    m_powerItem = m_processorMenu->Append(wxID_ANY, wxS("&Power"),
                                          wxS("Processors powerfulness benchmark"), wxITEM_NORMAL);
    m_speedItem = m_processorMenu->Append(wxID_ANY, wxS("&Speed (single task)"),
                                          wxS("Processors speed benchmark"), wxITEM_NORMAL);
    m_heatItem = m_processorMenu->Append(wxID_ANY, wxS("&Heat"), wxS("Warms up processor"),
                                         wxITEM_NORMAL);
    m_infoItem = m_processorMenu->Append(wxID_ANY, wxS("&Info (*)"),
                                         wxS("Display informations about processor."),
                                         wxITEM_NORMAL);
    m_resultsItem = m_processorMenu->Append(wxID_ANY, wxS("&Results"), wxS("Results management"),
                                            wxITEM_NORMAL);
    m_menuBar->Append(m_processorMenu, wxS("&Processor"));

    m_helpMenu = new wxMenu(0);
    m_manualItem = m_helpMenu->Append(wxID_ANY, wxS("&Manual"), wxS("Application's manual"),
                                      wxITEM_NORMAL);
    m_historyItem = m_helpMenu->Append(wxID_ANY, wxS("&History"), wxS("Application's change log"),
                                       wxITEM_NORMAL);
    m_aboutItem = m_helpMenu->Append(wxID_ANY, wxS("&About\tAlt+A"),
                                     wxS("About this application"), wxITEM_NORMAL);
    m_menuBar->Append(m_helpMenu, wxS("&Help"));

    SetMenuBar(m_menuBar);

    auto* sizer = new wxBoxSizer(wxVERTICAL);
    SetSizer(sizer);
    Layout();

    m_statusBar = CreateStatusBar(1, wxSTB_SIZEGRIP, wxID_ANY, wxASCII_STR(wxStatusLineNameStr));

    Centre(wxBOTH);

    Bind(wxEVT_CLOSE_WINDOW, &MainFrameBase::OnCloseFrame, this);
    Bind(wxEVT_PAINT, &MainFrameBase::OnPaint, this);
    Bind(wxEVT_MENU, &MainFrameBase::OnSearch, this, m_searchItem->GetId());
    Bind(wxEVT_MENU, &MainFrameBase::OnOptions, this, m_optionsItem->GetId());
    Bind(wxEVT_MENU, &MainFrameBase::OnQuit, this, m_exitItem->GetId());
    Bind(wxEVT_MENU, &MainFrameBase::OnPower, this, m_powerItem->GetId());
    Bind(wxEVT_MENU, &MainFrameBase::OnSpeed, this, m_speedItem->GetId());
    Bind(wxEVT_MENU, &MainFrameBase::OnHeat, this, m_heatItem->GetId());
    Bind(wxEVT_MENU, &MainFrameBase::OnInfo, this, m_infoItem->GetId());
    Bind(wxEVT_MENU, &MainFrameBase::OnResults, this, m_resultsItem->GetId());
    Bind(wxEVT_MENU, &MainFrameBase::OnManual, this, m_manualItem->GetId());
    Bind(wxEVT_MENU, &MainFrameBase::OnHistory, this, m_historyItem->GetId());
    Bind(wxEVT_MENU, &MainFrameBase::OnAbout, this, m_aboutItem->GetId());
}
