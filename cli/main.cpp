#include "cli/runner.h"
#include "bench/workers.h"
#include "sensors/heat_readings.h"

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
    TakeSensorRootFromEnvironment();
    const int code = RunCommandLine(argc, argv);
    WaitForWorkerThreads(5000);  // none may outlive the toolkit
    return code;
}
