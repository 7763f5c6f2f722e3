// tarnwick-cli info: what CPUID reports.

#include "cli/command.h"
#include "cli/options.h"
#include "cli/report.h"

#include "app/notify.h"
#include "app/numbers.h"
#include "app/startup.h"
#include "app/state.h"
#include "app/version.h"
#include "bench/evidence.h"
#include "bench/heat.h"
#include "bench/heat_work.h"
#include "bench/power.h"
#include "bench/speed.h"
#include "bench/work_cycle.h"
#include "config/paths.h"
#include "files/atomic_file.h"
#include "files/encoding.h"
#include "files/file_transaction.h"
#include "files/path_text.h"
#include "results/last_test.h"
#include "results/merge.h"
#include "results/result_document.h"
#include "results/results_file.h"
#include "results/results_table.h"
#include "results/search.h"
#include "sensors/heat_readings.h"
#include "sensors/run_conditions.h"
#include "views/heat_view.h"
#include "views/svg.h"

#include <wx/cmdline.h>
#include <wx/log.h>
#include <wx/msgout.h>
#include <wx/thread.h>
#include <wx/utils.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <functional>
#include <cstring>
#include <cstdio>
#include <limits>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace cli {
int RunInfo(const Options& options)
{
    Report report(options.json);
    report["processor"] = ShownUtf8(CpuDisplayName);
    report["vendor"] = ShownUtf8(wxString::From8BitData(CpuVendorId));
    report["signature"] = wxString::Format(wxS("%X"), CpuSignature).utf8_string();
    report["family"] = CpuFamily;
    report["model"] = CpuModel;
    report["stepping"] = CpuStepping;
    report["extendedFamily"] = CpuExtendedFamily;
    report["extendedModel"] = CpuExtendedModel;
    report["type"] = CpuType;
    report["cores"] = CpuCores;
    report["htt"] = CpuHtt;
    report["logicalProcessors"] = CpuCount;
    const auto line = [&](const char* format, auto... values) {
        char text[512];
        std::snprintf(text, sizeof text, format, values...);
        report.Line(text);
    };
    report.Line("Processor:           " + Utf8(CpuDisplayName));
    line("Vendor:              %s", CpuVendorId);
    line("Signature:           %X", CpuSignature);
    line("Family: %X  Model: %X  Stepping: %X", CpuFamily, CpuModel, CpuStepping);
    line("Extended family: %X  Extended model: %X  Type: %X", CpuExtendedFamily, CpuExtendedModel, CpuType);
    line("Cores: %u  HTT: %u", CpuCores, CpuHtt);
    line("Logical processors:  %u", CpuCount);
    report.Line("(as CPUID reports them; they may not match the hardware)");
    report.Print();
    return 0;
}
}  // namespace cli
