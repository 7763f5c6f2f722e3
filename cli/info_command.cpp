// tarnwick-cli info: what CPUID reports.
#include "cli/command.h"
#include "cli/options.h"
#include "cli/report.h"
#include "core/state.h"

#include <wx/chartype.h>
#include <wx/string.h>

#include <nlohmann/json.hpp>

#include <cstdio>
#include <string>

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
