#include "cli/runner.h"
#include "bench/workers.h"
#include "sensors/heat_readings.h"

#include <wx/init.h>

#include <clocale>
#include <cstdlib>
#include <cstdio>

int main(int argc, char** argv)
{
    wxInitializer wx(argc, argv);
    if (!wx.IsOk()) {
        std::fprintf(stderr, "tarnwick-cli: wxWidgets could not start\n");
        return 1;
    }
    std::setlocale(LC_NUMERIC, "C");
    // Another machine's /sys and /proc, as a container or a test lays them out.
    if (const char* root = std::getenv("TARNWICK_SENSOR_ROOT"); root != nullptr && *root != '\0')
        SensorRoot = root;
    const int code = RunCommandLine(argc, argv);
    WaitForWorkerThreads(5000);  // none may outlive the toolkit
    return code;
}
