#include "cpu/processor_globals.h"

#include "core/state.h"
#include "cpu/cpu_info.h"

#include <cwchar>
#include <iterator>

void InitProcessorGlobals(int reportedCpuCount)
{
    std::wcsncpy(OsName, L"Linux", std::size(OsName) - 1);
    OsName[std::size(OsName) - 1] = L'\0';
    CpuCount = reportedCpuCount < 1 ? 1u : static_cast<std::uint32_t>(reportedCpuCount);
    ReadProcessorInfo();
    ThreadCount = CpuCount;
    HttOption = CpuHtt;
}
