#include "app/state.h"
#include "bench/heat.h"
#include "bench/workers.h"

#include <wx/time.h>
#include <wx/utils.h>

#include <gtest/gtest.h>

#include <atomic>

namespace {
class HeatTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ThreadCount = 2;
        HeatState = 0;
    }
    void TearDown() override
    {
        EXPECT_TRUE(WaitForWorkerThreads(5000));
        EXPECT_EQ(LiveWorkerThreads(), 0u);
        SetHeatBufferAllocator(nullptr);
        TakeHeatMessage();
        ThreadDone.reset();
        ThreadCount = 0;
        HeatState = 0;
        HeatTestMillis = 600000;
    }

    // Polls the flags every 10 ms for at most `limit` ms; the time it took.
    static long WaitUntilDone(long limit)
    {
        const wxLongLong start = wxGetLocalTimeMillis();
        while (HeatDoneProduct() == 0 && (wxGetLocalTimeMillis() - start).GetValue() < limit)
            wxMilliSleep(10);
        return static_cast<long>((wxGetLocalTimeMillis() - start).GetValue());
    }
};
}  // namespace

TEST_F(HeatTest, ZeroTimeEndsAtOnce)
{
    HeatTestMillis = 0;
    StartHeatTest();
    EXPECT_EQ(HeatState, 2);
    EXPECT_LT(WaitUntilDone(5000), 1000);
    EXPECT_NE(DoneProduct, 0u);
    FinishHeatTest();
    EXPECT_EQ(HeatState, 1);
    EXPECT_EQ(ThreadDone, nullptr);
}

TEST_F(HeatTest, NegativeTimeEndsAtOnce)
{
    HeatTestMillis = -60000;
    StartHeatTest();
    EXPECT_LT(WaitUntilDone(5000), 1000);
    FinishHeatTest();
}

TEST_F(HeatTest, AShortRunEndsWithinABlockAfterItsTime)
{
    HeatTestMillis = 1500;
    StartHeatTest();
    const wxLongLong start = HeatStart;
    EXPECT_EQ(HeatWorkNow.load(), start.GetValue());
    EXPECT_EQ(HeatViewNow, start);
    WaitUntilDone(30000);
    const wxLongLong end = wxGetLocalTimeMillis();
    ASSERT_NE(DoneProduct, 0u);
    EXPECT_GE(HeatWorkNow.load() - start.GetValue(), 1500);
    EXPECT_GE((end - start).GetValue(), 1500);
    EXPECT_LT((end - start).GetValue(), 1500 + 5000);  // a block of 65536 passes is far shorter
    FinishHeatTest();
}

TEST_F(HeatTest, EveryProcessorGetsAWorkerWithATenMebibyteBuffer)
{
    std::atomic<int> buffers{0};
    std::atomic<std::size_t> bytes{0};
    SetHeatBufferAllocator([&](std::size_t size) {
        ++buffers;
        bytes = size;
        return new char[size];
    });
    ThreadCount = 16;
    HeatTestMillis = 0;
    StartHeatTest();
    WaitUntilDone(10000);
    EXPECT_EQ(buffers.load(), 16);
    EXPECT_EQ(bytes.load(), 10485760u);
    FinishHeatTest();
}

TEST_F(HeatTest, WithoutMemoryAWorkerLeavesTheMessageAndItsFlagDown)
{
    SetHeatBufferAllocator([](std::size_t) -> char* { return nullptr; });
    ThreadDone.reset(new std::atomic<std::uint32_t>[1]);
    ThreadDone[0].store(0);
    HeatTestMillis = 0;
    RunHeatWork(0);
    EXPECT_EQ(ThreadDone[0].load(), 0u);
    EXPECT_EQ(TakeHeatMessage(), wxString::FromUTF8("M1 - Memorie insuficient\xC3\xA3"));
    EXPECT_EQ(TakeHeatMessage(), "");
}

TEST_F(HeatTest, AWorkerRaisesItsOwnFlagOnly)
{
    ThreadDone.reset(new std::atomic<std::uint32_t>[3]);
    for (int k = 0; k < 3; ++k)
        ThreadDone[k].store(0);
    HeatTestMillis = 0;
    RunHeatWork(1);
    EXPECT_EQ(ThreadDone[0].load(), 0u);
    EXPECT_EQ(ThreadDone[1].load(), 1u);
    EXPECT_EQ(ThreadDone[2].load(), 0u);
}
