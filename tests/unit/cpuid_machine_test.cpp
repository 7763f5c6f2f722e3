// The processor running the tests, read through CPUID, against what the
// kernel reports in /proc/cpuinfo.
#include "cpu/processor_globals.h"
#include "core/state.h"
#include "cpu/cpuid.h"
#include "../support/saved_state.h"

#include <wx/thread.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <string>

namespace {
std::string Trim(const std::string& text)
{
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string::npos)
        return {};
    const auto last = text.find_last_not_of(" \t");
    return text.substr(first, last - first + 1);
}

// The fields of the first processor in /proc/cpuinfo.
std::map<std::string, std::string> FirstProcessor()
{
    std::map<std::string, std::string> fields;
    std::ifstream in("/proc/cpuinfo");
    std::string line;
    while (std::getline(in, line) && !line.empty()) {
        const auto colon = line.find(':');
        if (colon != std::string::npos)
            fields[Trim(line.substr(0, colon))] = Trim(line.substr(colon + 1));
    }
    return fields;
}
}  // namespace

// What the kernel and CPUID always share: the vendor identification and the
// signature. The kernel's names for the processor are not shared: a
// hypervisor may show the guest another brand string than the kernel's
// "model name".
TEST(CpuidMachine, DecodedSignatureAgreesWithProcCpuinfo)
{
    auto kernel = FirstProcessor();
    if (!kernel.count("vendor_id"))
        GTEST_SKIP() << "/proc/cpuinfo is not readable here";
    const ProcessorFacts facts = DecodeProcessorFacts(ReadCpuid(), 1);
    // Both trimmed: a vendor may pad its twelve characters with spaces.
    EXPECT_EQ(Trim(facts.vendorId), kernel["vendor_id"]);
    EXPECT_EQ(std::to_string(facts.stepping), kernel["stepping"]);
    // The kernel adds the extended family to a base family of 15, as the
    // decoder does.
    EXPECT_EQ(std::to_string(facts.family), kernel["cpu family"]);
    // The kernel adds the extended model for every family from 6 on, the
    // decoder for base families 6 and 15 only: they differ for base families
    // 7 to 14, which no x86-64 processor has. Compare like with like there.
    const std::uint32_t baseFamily = (facts.signature >> 8) & 0xF;
    const std::uint32_t kernelModel =
        baseFamily >= 7 && baseFamily <= 14 ? facts.model + 16 * facts.extendedModel : facts.model;
    EXPECT_EQ(std::to_string(kernelModel), kernel["model"]);
}

TEST(CpuidMachine, ProcessorCountIsTheOnlineCount)
{
    const StateGuard saved;
    InitProcessorGlobals(wxThread::GetCPUCount());
    EXPECT_EQ(long(CpuCount), std::max(sysconf(_SC_NPROCESSORS_ONLN), 1L));
    EXPECT_EQ(ThreadCount, CpuCount);
    EXPECT_EQ(HttOption, CpuHtt);
    const auto kernel = FirstProcessor();
    if (kernel.count("vendor_id")) {
        EXPECT_STREQ(CpuVendorId, kernel.at("vendor_id").c_str());
    }
}
