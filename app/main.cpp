#include "app/main_app.h"

wxIMPLEMENT_APP(MainApp);
