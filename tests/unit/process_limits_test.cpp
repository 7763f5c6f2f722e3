// The processors a process may use, read from trees laid out as the kernel
// lays out /proc/self and the control groups, and how a run held by them is
// judged.
#include "bench/evidence.h"
#include "sensors/machine_identity.h"
#include "sensors/run_conditions.h"
#include "../support/sensor_tree.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace {

class ProcessLimitsTree : public ::testing::Test, public MachineTree {
protected:
    void SetUp() override { ASSERT_TRUE(Create()); }
    void TearDown() override { Destroy(); }

    std::string Root() const { return root.string(); }

    void Status(const std::string& list) const
    {
        Write("proc/self/status", "Name:\ttarnwick-cli\nCpus_allowed:\tff\nCpus_allowed_list:\t" + list +
                                      "\nMems_allowed_list:\t0\n");
    }
};

TEST(ProcessorList, ReadsRangesAndSingles)
{
    EXPECT_EQ(ParseProcessorList("0-3,8\n"), (std::vector<std::uint32_t>{0, 1, 2, 3, 8}));
    EXPECT_EQ(ParseProcessorList("5"), (std::vector<std::uint32_t>{5}));
    for (const char* bad : {"", "3-1", "0-", "-2", "0,,1", "0,", "a", "0-3x", "99999999"})
        EXPECT_FALSE(ParseProcessorList(bad)) << bad;
    // A list of millions is counted only as far as asked.
    EXPECT_EQ(ParseProcessorList("0-4000000", 10)->size(), 10u);
}

TEST_F(ProcessLimitsTree, AffinityCountsTheOnlineProcessorsAllowed)
{
    Status("0-1,4");
    Write("sys/devices/system/cpu/online", "0-3\n");
    const ProcessLimits limits = ReadProcessLimits(Root());
    ASSERT_TRUE(limits.affinity);
    EXPECT_EQ(*limits.affinity, 2u);  // processor 4 is not online
    EXPECT_EQ(limits.affinityList, "0-1,4");
    EXPECT_FALSE(limits.cpuLimit);
    EXPECT_EQ(UsableProcessors(limits, 4), 2u);
}

TEST_F(ProcessLimitsTree, NothingReadableLeavesTheMachinesProcessors)
{
    const ProcessLimits limits = ReadProcessLimits(Root());
    EXPECT_FALSE(limits.affinity);
    EXPECT_FALSE(limits.cpuLimit);
    EXPECT_EQ(UsableProcessors(limits, 8), 8u);
    EXPECT_EQ(UsableProcessors(limits, 0), 1u);
}

TEST_F(ProcessLimitsTree, Version2LimitIsTheLowestOfTheGroupAndItsParents)
{
    Status("0-7");
    Write("proc/self/cgroup", "0::/lab/job\n");
    Write("sys/fs/cgroup/cgroup.controllers", "cpu memory\n");
    Write("sys/fs/cgroup/lab/cpu.max", "150000 100000\n");
    Write("sys/fs/cgroup/lab/cpu.stat", "usage_usec 10\nnr_periods 40\nnr_throttled 12\nthrottled_usec 34000\n");
    Write("sys/fs/cgroup/lab/job/cpu.max", "max 100000\n");
    Write("sys/fs/cgroup/lab/job/cpu.stat", "nr_periods 0\nnr_throttled 0\nthrottled_usec 0\n");
    const ProcessLimits limits = ReadProcessLimits(Root());
    ASSERT_TRUE(limits.cpuLimit);
    EXPECT_DOUBLE_EQ(*limits.cpuLimit, 1.5);
    // The counters of the group that sets the limit.
    EXPECT_EQ(limits.groupThrottles, 12u);
    EXPECT_EQ(limits.groupThrottledMicros, 34000u);
    EXPECT_EQ(UsableProcessors(limits, 8), 1u);  // 1.5 rounded down
}

TEST_F(ProcessLimitsTree, Version1QuotaOfAContainerThatSeesTheHostsPath)
{
    // The group's path is the host's; the container sees its own group at the mount.
    Write("proc/self/cgroup", "5:memory:/docker/abc\n3:cpu,cpuacct:/docker/abc\n0::/\n");
    Write("sys/fs/cgroup/cpu,cpuacct/cpu.cfs_quota_us", "50000\n");
    Write("sys/fs/cgroup/cpu,cpuacct/cpu.cfs_period_us", "100000\n");
    Write("sys/fs/cgroup/cpu,cpuacct/cpu.stat", "nr_periods 9\nnr_throttled 7\nthrottled_time 2500000\n");
    const ProcessLimits limits = ReadProcessLimits(Root());
    ASSERT_TRUE(limits.cpuLimit);
    EXPECT_DOUBLE_EQ(*limits.cpuLimit, 0.5);
    EXPECT_EQ(limits.groupThrottles, 7u);
    EXPECT_EQ(limits.groupThrottledMicros, 2500u);  // nanoseconds on version 1
    EXPECT_EQ(UsableProcessors(limits, 2), 1u);     // at least one
}

TEST_F(ProcessLimitsTree, Version1WithoutQuotaAndOddFilesGiveNoLimit)
{
    Write("proc/self/cgroup", "1:cpu:/\n");
    Write("sys/fs/cgroup/cpu/cpu.cfs_quota_us", "-1\n");
    Write("sys/fs/cgroup/cpu/cpu.cfs_period_us", "100000\n");
    EXPECT_FALSE(ReadProcessLimits(Root()).cpuLimit);
    Write("sys/fs/cgroup/cpu/cpu.cfs_quota_us", "lots\n");
    EXPECT_FALSE(ReadProcessLimits(Root()).cpuLimit);
    Write("sys/fs/cgroup/cpu/cpu.cfs_quota_us", "50000\n");
    Write("sys/fs/cgroup/cpu/cpu.cfs_period_us", "0\n");
    EXPECT_FALSE(ReadProcessLimits(Root()).cpuLimit);
    // A path that climbs out of the mount is read at the mount.
    Write("proc/self/cgroup", "1:cpu:/../../etc\n");
    Write("sys/fs/cgroup/cpu/cpu.cfs_period_us", "100000\n");
    ASSERT_TRUE(ReadProcessLimits(Root()).cpuLimit);
    EXPECT_DOUBLE_EQ(*ReadProcessLimits(Root()).cpuLimit, 0.5);
}

TEST_F(ProcessLimitsTree, SnapshotsCarryTheLimitsIntoTheRunsConditions)
{
    Status("0");
    Write("sys/devices/system/cpu/online", "0-1\n");
    Write("proc/self/cgroup", "0::/\n");
    Write("sys/fs/cgroup/cgroup.controllers", "cpu\n");
    Write("sys/fs/cgroup/cpu.max", "150000 100000\n");
    Write("sys/fs/cgroup/cpu.stat", "nr_throttled 3\nthrottled_usec 1000\n");
    const ConditionsSnapshot before = ReadConditionsSnapshot(Root());
    Write("sys/fs/cgroup/cpu.stat", "nr_throttled 8\nthrottled_usec 251000\n");
    const ConditionsSnapshot after = ReadConditionsSnapshot(Root());
    MachineTopology topology;
    topology.logicalProcessors = 2;
    const RunConditions run = CompareConditions(before, after, topology, 1, 100);
    EXPECT_EQ(run.affinity, 1u);
    EXPECT_EQ(run.affinityList, "0");
    EXPECT_EQ(run.CpuLimit(), 1.5);
    EXPECT_EQ(run.GroupThrottles(), 5u);
    EXPECT_EQ(run.GroupThrottledMicros(), 250000u);
}

TestEvidence QuietRun(std::uint32_t processors)
{
    TestEvidence e;
    e.measured = true;
    e.test = "power";
    e.millis = 10000;
    RunSamples samples;
    samples.perSecond.assign(10, 900);
    e.threads = {samples};
    e.threadPoints = {9000};
    e.points = 9000;
    e.conditions.otherPercent = 0.5;
    e.conditions.stealPercent = 0.0;
    e.conditions.logicalProcessors = processors;
    e.conditions.threadsPerCore = 1;
    e.conditions.threads = 1;
    return e;
}

TEST(LimitedRuns, AffinityAndGroupLimitAndThrottlesAreReasons)
{
    TestEvidence e = QuietRun(2);
    CompleteEvidence(e);
    ASSERT_TRUE(e.verdict.steady);

    e.conditions.affinity = 2;  // all of them: no limit
    e.conditions.cpuLimitStart = e.conditions.cpuLimitEnd = 2.0;
    CompleteEvidence(e);
    EXPECT_TRUE(e.verdict.steady);

    e.conditions.affinity = 1;
    e.conditions.affinityList = "0";
    e.conditions.cpuLimitStart = 1.5;
    e.conditions.cpuLimitEnd = 2.0;
    e.conditions.groupThrottlesBefore = 10;
    e.conditions.groupThrottlesAfter = 14;
    e.conditions.groupThrottledMicrosBefore = 0;
    e.conditions.groupThrottledMicrosAfter = 120400;
    CompleteEvidence(e);
    EXPECT_FALSE(e.verdict.steady);
    ASSERT_EQ(e.verdict.reasons.size(), 3u);
    EXPECT_EQ(e.verdict.reasons[0], "its control group throttled it in 4 periods (120 ms in all)");
    EXPECT_EQ(e.verdict.reasons[1], "limited to 1 of the 2 logical processors by its affinity (0): the score "
                                    "measures the limit, not the processor");
    EXPECT_EQ(e.verdict.reasons[2],
              "limited to 1.5 processors by its control group: the score measures the limit, not the processor");
    EXPECT_EQ(e.verdict.kinds,
              (std::vector<ReasonKind>{ReasonKind::Throttled, ReasonKind::Limited, ReasonKind::Limited}));
    EXPECT_TRUE(e.verdict.MayBeLow());
    EXPECT_NE(EvidenceLine(e).find("the score may be low"), std::string::npos);
}

TEST(MachineIdentity, IsAStableHashThatHidesTheMachineId)
{
    const std::string id = "4f1d0c7e9a2b4c3d8e5f60718293a4b5";
    const std::string derived = MachineIdentityOf(id);
    ASSERT_EQ(derived.size(), 32u);
    EXPECT_EQ(derived, MachineIdentityOf("4F1D0C7E9A2B4C3D8E5F60718293A4B5"));  // any case
    EXPECT_NE(derived, id);
    EXPECT_EQ(derived, "38a2f7fa1d984fa1acbb1e06e9ec9c57");  // HMAC-SHA256 of the program's key by the machine's
    EXPECT_EQ(derived[12], '4');  // a version 4 identifier, as systemd marks them
    EXPECT_NE(derived, MachineIdentityOf("4f1d0c7e9a2b4c3d8e5f60718293a4b6"));
    for (const char* bad : {"", "4f1d", "zz1d0c7e9a2b4c3d8e5f60718293a4b5", "4f1d0c7e9a2b4c3d8e5f60718293a4b5ff"})
        EXPECT_EQ(MachineIdentityOf(bad), "") << bad;
}

TEST_F(ProcessLimitsTree, MachineIdentityReadsEtcMachineId)
{
    EXPECT_EQ(MachineIdentity(Root()), "");
    Write("etc/machine-id", "4f1d0c7e9a2b4c3d8e5f60718293a4b5\n");
    EXPECT_EQ(MachineIdentity(Root()), MachineIdentityOf("4f1d0c7e9a2b4c3d8e5f60718293a4b5"));
    Write("etc/machine-id", "uninitialized\n");
    EXPECT_EQ(MachineIdentity(Root()), "");
}

}  // namespace
