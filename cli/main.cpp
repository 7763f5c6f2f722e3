#include "cli/runner.h"
#include "bench/workers.h"
#include "files/path_text.h"
#include "sensors/heat_readings.h"

#include <wx/init.h>

#include <clocale>
#include <cstdio>
#include <vector>

int main(int argc, char** argv)
{
    // Arguments are bytes (file names above all): taken without loss,
    // whatever the locale says they are.
    std::vector<wxString> arguments;
    for (int k = 0; k < argc; ++k)
        arguments.push_back(PathFromBytes(argv[k]));
    std::vector<std::wstring> texts(arguments.size());
    std::vector<wchar_t*> wide;
    for (std::size_t k = 0; k < arguments.size(); ++k) {
        texts[k] = arguments[k].ToStdWstring();
        wide.push_back(texts[k].data());
    }
    wide.push_back(nullptr);
    int count = argc;
    wxInitializer wx(count, wide.data());
    if (!wx.IsOk()) {
        std::fprintf(stderr, "tarnwick-cli: wxWidgets could not start\n");
        return 1;
    }
    std::setlocale(LC_NUMERIC, "C");
    TakeSensorRootFromEnvironment();
    const int code = RunCommandLine(arguments);
    WaitForWorkerThreads(5000);  // none may outlive the toolkit
    return code;
}
