#include "cli/runner.h"
#include "bench/workers.h"

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
    const int code = RunCommandLine(argc, argv);
    WaitForWorkerThreads(5000);  // none may outlive the toolkit
    return code;
}
