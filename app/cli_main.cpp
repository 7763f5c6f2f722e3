#include "app/cli.h"

#include <wx/init.h>

#include <clocale>
#include <cstdio>

int main(int argc, char** argv)
{
    wxInitializer wx(argc, argv);
    if (!wx.IsOk()) {
        std::fprintf(stderr, "tarnwick-cli: wxWidgets could not start\n");
        return 1;
    }
    std::setlocale(LC_NUMERIC, "C");
    return RunCommandLine(argc, argv);
}
