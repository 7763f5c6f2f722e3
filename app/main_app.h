// The application object: start-up in its fixed order, release at exit.
#pragma once

#include <wx/app.h>

class MainApp : public wxApp {
public:
    bool OnInit() override;
    int OnExit() override;
};

wxDECLARE_APP(MainApp);
