#include "cpu/processor_globals.h"
#include "core/state.h"
#include "../support/saved_state.h"

#include <gtest/gtest.h>

#include <cwchar>

namespace {
// Puts back what the initialiser changes (the processor facts included), so
// tests do not see each other.
class Initialiser : public ::testing::Test {
protected:
    StateGuard m_saved;
};
}  // namespace

TEST_F(Initialiser, NamesTheOperatingSystemLinux)
{
    InitProcessorGlobals(4);
    EXPECT_STREQ(OsName, L"Linux");
}

TEST_F(Initialiser, TakesTheReportedProcessorCountAsThreadCount)
{
    InitProcessorGlobals(8);
    EXPECT_EQ(CpuCount, 8u);
    EXPECT_EQ(ThreadCount, 8u);
}

TEST_F(Initialiser, OneProcessorGivesOneThreadAndNoHalfCount)
{
    InitProcessorGlobals(1);
    EXPECT_EQ(CpuCount, 1u);
    EXPECT_EQ(ThreadCount, 1u);
    EXPECT_EQ(HalfThreadCount, 0u);
}

TEST_F(Initialiser, UnknownProcessorCountIsTakenAsOne)
{
    InitProcessorGlobals(-1);
    EXPECT_EQ(CpuCount, 1u);
    EXPECT_EQ(ThreadCount, 1u);
    InitProcessorGlobals(0);
    EXPECT_EQ(CpuCount, 1u);
}

TEST_F(Initialiser, HttOptionFollowsTheProcessorFlag)
{
    InitProcessorGlobals(2);
    EXPECT_EQ(HttOption, CpuHtt);
}

TEST_F(Initialiser, LeavesTheRunParametersAlone)
{
    InitProcessorGlobals(2);
    EXPECT_EQ(SpeedTestMillis, 10000);
    EXPECT_EQ(PowerTestMillis, 10000);
    EXPECT_EQ(HeatTestMillis, 600000);
    EXPECT_EQ(CpuListCount, 20);
}
