#include "bench/workers.h"
#include "cli/runner.h"
#include "files/path_text.h"
#include "sensors/heat_readings.h"

#include <wx/init.h>
#include <wx/string.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

int main(int argc, char** argv)
{
    // Arguments are bytes (file names above all): taken without loss,
    // whatever the locale says they are.
    std::vector<wxString> arguments;
    for (int k = 0; k < argc; ++k)
        arguments.push_back(PathFromBytes(argv[k]));
    // The toolkit is given the program's name only: the runner reads its
    // arguments itself, and thousands of them need not be held twice more.
    std::wstring name = arguments.empty() ? std::wstring(L"tarnwick-cli") : arguments.front().ToStdWstring();
    wchar_t* wide[] = {name.data(), nullptr};
    int count = 1;
    wxInitializer wx(count, wide);
    if (!wx.IsOk()) {
        std::fprintf(stderr, "tarnwick-cli: wxWidgets could not start\n");
        return 1;
    }
    std::setlocale(LC_NUMERIC, "C");
    TakeSensorRootFromEnvironment();
    const int code = RunCommandLine(std::move(arguments));
    WaitForWorkerThreads(5000);  // none may outlive the toolkit
    return code;
}
