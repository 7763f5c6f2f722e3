// The processor running the tests, read through CPUID, against what the
// kernel reports in /proc/cpuinfo.
#include "app/startup.h"
#include "app/state.h"
#include "cpu/cpuid.h"

#include <wx/thread.h>

#include <gtest/gtest.h>

#include <unistd.h>

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

TEST(CpuidMachine, DecodedFactsAgreeWithProcCpuinfo)
{
    auto kernel = FirstProcessor();
    ASSERT_TRUE(kernel.count("vendor_id")) << "no /proc/cpuinfo";
    const ProcessorFacts facts = DecodeProcessorFacts(ReadCpuid(), 1);
    EXPECT_EQ(facts.vendorId, kernel["vendor_id"]);
    EXPECT_EQ(std::to_string(facts.family), kernel["cpu family"]);
    EXPECT_EQ(std::to_string(facts.model), kernel["model"]);
    EXPECT_EQ(std::to_string(facts.stepping), kernel["stepping"]);
    EXPECT_EQ(facts.brandString, kernel["model name"]);
}

TEST(CpuidMachine, ProcessorCountIsTheOnlineCount)
{
    InitProcessorGlobals(wxThread::GetCPUCount());
    EXPECT_EQ(long(CpuCount), sysconf(_SC_NPROCESSORS_ONLN));
    EXPECT_EQ(ThreadCount, CpuCount);
    EXPECT_EQ(HttOption, CpuHtt);
    EXPECT_STREQ(CpuVendorId, FirstProcessor()["vendor_id"].c_str());
}
