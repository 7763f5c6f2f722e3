// The heat test's known-answer checks and what its work counts give: rates,
// the sustained pace, the slowest processor.
#include "bench/heat.h"
#include "bench/heat_check.h"
#include "bench/heat_work.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <set>
#include <string>

namespace {
// A pass as the worker computes it, from the values before it.
HeatPassRecord WorkerPass(const HeatPassValues& before, std::int64_t t1, std::int64_t t2)
{
    HeatPassRecord record;
    record.t1 = t1;
    record.t2 = t2;
    record.before = before;
    record.after = before;
    HeatPass(record.after, t1, t2);
    return record;
}

// A block's worth of passes from the start of a block, as the worker runs
// them; the record of pass `kept`.
HeatPassRecord PassOfABlock(HeatPassValues& values, std::int32_t kept, std::int64_t clock)
{
    values.c1 = values.c2 = 0;
    HeatPassRecord record;
    for (std::int32_t pass = 0; pass <= kept; ++pass) {
        record = WorkerPass(values, clock + pass, clock + pass);
        values = record.after;
    }
    return record;
}

double RandomDouble(std::mt19937_64& random)
{
    std::uniform_int_distribution<int> kind(0, 3);
    switch (kind(random)) {
    case 0: return std::uniform_real_distribution<double>(-1e6, 1e6)(random);
    case 1: return std::uniform_real_distribution<double>(-1e-300, 1e-300)(random);
    case 2: return double(std::uniform_int_distribution<int>(-3, 3)(random));
    default: return std::uniform_real_distribution<double>(-1e300, 1e300)(random);
    }
}
}  // namespace

TEST(HeatCheck, CorrectPassesOverManyRandomInputsPass)
{
    std::mt19937_64 random(20261124);
    std::uniform_int_distribution<std::int32_t> int32(std::numeric_limits<std::int32_t>::min(),
                                                      std::numeric_limits<std::int32_t>::max());
    std::uniform_int_distribution<std::int64_t> int64(std::numeric_limits<std::int64_t>::min(),
                                                      std::numeric_limits<std::int64_t>::max());
    std::uniform_int_distribution<std::int64_t> clock(1600000000000, 2000000000000);
    int divided = 0;
    for (int k = 0; k < 200000; ++k) {
        HeatPassValues before;
        before.c1 = k % 7 == 0 ? -1 : int32(random);  // -1 makes the counter 0: the pass stops early
        before.c2 = k % 11 == 0 ? std::numeric_limits<std::int32_t>::max() : int32(random);
        before.m = int32(random);
        before.n = int32(random);
        before.product = int64(random);
        before.sum = int64(random);
        before.quotient = int64(random);
        before.d1 = RandomDouble(random);
        before.d2 = k % 13 == 0 ? -1.0 : RandomDouble(random);  // -1 makes the divisor 0
        before.e1 = RandomDouble(random);
        before.e2 = RandomDouble(random);
        const bool realClock = k % 2 == 0;
        const std::int64_t t1 = realClock ? clock(random) : int64(random);
        const std::int64_t t2 = realClock ? t1 + k % 3 : int64(random);
        const HeatPassRecord record = WorkerPass(before, t1, t2);
        if (record.after.quotient != before.quotient)
            ++divided;
        const std::optional<HeatCheckFailure> failure = CheckHeatPass(record);
        ASSERT_FALSE(failure) << "input " << k << ": " << failure->value << " should be " << failure->expected
                              << ", was " << failure->found;
    }
    EXPECT_GT(divided, 50000);  // the division and its multiplying back were checked often
}

TEST(HeatCheck, TheFirstPassOfABlockAndTheLastPass)
{
    HeatPassValues values;
    values.d1 = 3.5;  // the reals carry over from the block before
    values.d2 = 0.25;
    const HeatPassRecord first = PassOfABlock(values, 0, 1764000000000);
    EXPECT_EQ(first.before.c1, 0);
    EXPECT_EQ(first.after.c1, 1);
    EXPECT_FALSE(CheckHeatPass(first));
    HeatPassValues again;
    const HeatPassRecord last = PassOfABlock(again, 65535, 1764000000000);
    EXPECT_EQ(last.after.c1, 65536);
    EXPECT_FALSE(CheckHeatPass(last));
}

TEST(HeatCheck, EachCorruptedValueIsDetected)
{
    HeatPassValues values;
    const HeatPassRecord good = PassOfABlock(values, 41, 1764000000000);
    ASSERT_FALSE(CheckHeatPass(good));
    struct Case {
        const char* name;
        void (*corrupt)(HeatPassValues&);
    };
    const Case cases[] = {
        {"c1", [](HeatPassValues& v) { v.c1 ^= 1; }},
        {"c2", [](HeatPassValues& v) { v.c2 ^= 4; }},
        {"m", [](HeatPassValues& v) { v.m ^= 1 << 20; }},
        {"n", [](HeatPassValues& v) { v.n += 1; }},
        {"product", [](HeatPassValues& v) { v.product ^= std::int64_t(1) << 40; }},
        {"sum", [](HeatPassValues& v) { v.sum -= 1; }},
        {"quotient", [](HeatPassValues& v) { v.quotient += 1; }},
        {"d1", [](HeatPassValues& v) { v.d1 = std::nextafter(v.d1, 1e300); }},
        {"d2", [](HeatPassValues& v) { v.d2 = -v.d2; }},
        {"e1", [](HeatPassValues& v) { v.e1 = std::nextafter(v.e1, -1e300); }},
        {"e2", [](HeatPassValues& v) { v.e2 *= 2.0; }},
    };
    for (const Case& c : cases) {
        HeatPassRecord bad = good;
        c.corrupt(bad.after);
        const std::optional<HeatCheckFailure> failure = CheckHeatPass(bad);
        ASSERT_TRUE(failure) << c.name;
        EXPECT_EQ(failure->value, c.name);
        EXPECT_NE(failure->expected, failure->found) << c.name;
    }
}

TEST(HeatCheck, MinusZeroIsNotZero)
{
    // Counters at 65536 multiply to 0 in 32 bits: e1 is +0.0; a sign bit
    // that flipped compares equal as a double, but not as bits.
    HeatPassValues before;
    before.c1 = before.c2 = 65535;
    before.d2 = 2.0;
    HeatPassRecord record = WorkerPass(before, 1764000000000, 1764000000000);
    ASSERT_EQ(record.after.m, 0);
    ASSERT_FALSE(CheckHeatPass(record));
    record.after.e1 = -record.after.e1;
    const std::optional<HeatCheckFailure> failure = CheckHeatPass(record);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->value, "e1");
    EXPECT_EQ(failure->found, "-0");
}

TEST(HeatCheck, AQuotientThatDoesNotMultiplyBackIsWrongWhateverTheDividerSaid)
{
    HeatPassValues values;
    const HeatPassRecord record = PassOfABlock(values, 7, 1764000000000);
    ASSERT_FALSE(CheckHeatPass(record));
    ASSERT_FALSE(CheckHeatDivision(record.after));
    // What a divider wrong the same way twice would leave: the pass and its
    // recomputation agree, the multiplication back does not.
    for (const std::int64_t off : {1, -1, 1000}) {
        HeatPassValues wrong = record.after;
        wrong.quotient += off;
        const std::optional<HeatCheckFailure> failure = CheckHeatDivision(wrong);
        ASSERT_TRUE(failure) << off;
        EXPECT_EQ(failure->value, "quotient × sum + remainder");
    }
    // Negative products and sums divide toward zero.
    for (const auto& [product, sum] : {std::pair<std::int64_t, std::int64_t>{-7, 2}, {7, -2}, {-7, -2}, {6, 3}}) {
        HeatPassValues v;
        v.product = product;
        v.sum = sum;
        v.quotient = product / sum;
        EXPECT_FALSE(CheckHeatDivision(v)) << product << " / " << sum;
        v.quotient = product / sum + (product % sum == 0 ? 1 : (product < 0) == (sum < 0) ? 1 : -1);
        EXPECT_TRUE(CheckHeatDivision(v)) << product << " / " << sum << " as " << v.quotient;
    }
}

TEST(HeatCheck, TheFaultSwitchMakesACorrectPassFailOnTheProduct)
{
    HeatPassValues values;
    const HeatPassRecord good = PassOfABlock(values, 3, 1764000000000);
    ASSERT_FALSE(CheckHeatPass(good, false));
    const std::optional<HeatCheckFailure> failure = CheckHeatPass(good, true);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->value, "product");
    EXPECT_EQ(std::stoll(failure->expected), good.after.product + 1);
    EXPECT_EQ(std::stoll(failure->found), good.after.product);
}

TEST(HeatCheck, ASlotReadsBackAsTheClockWrittenThere)
{
    char slot[80];
    std::snprintf(slot, sizeof slot, "%f", 1764000123456.0);
    EXPECT_FALSE(CheckHeatSlot(slot, 1764000123456));
    const std::optional<HeatCheckFailure> other = CheckHeatSlot(slot, 1764000123457);
    ASSERT_TRUE(other);
    EXPECT_EQ(other->value, "slot text");
    EXPECT_EQ(other->found, "1764000123456");

    char flipped[80];
    std::memcpy(flipped, slot, sizeof slot);
    flipped[5] ^= 1;  // one bit of one digit
    EXPECT_TRUE(CheckHeatSlot(flipped, 1764000123456));
    char garbage[80];
    std::memcpy(garbage, slot, sizeof slot);
    garbage[3] = 'x';
    const std::optional<HeatCheckFailure> text = CheckHeatSlot(garbage, 1764000123456);
    ASSERT_TRUE(text);
    EXPECT_EQ(text->found.front(), '"');
    char unterminated[80];
    std::memset(unterminated, '7', sizeof unterminated);
    const std::optional<HeatCheckFailure> endless = CheckHeatSlot(unterminated, 1764000123456);
    ASSERT_TRUE(endless);
    EXPECT_EQ(endless->found, "(no end within 80 bytes)");
}

TEST(HeatCheck, ASlotWrittenInACommaLocaleReadsBackInIt)
{
    const std::string saved = std::setlocale(LC_NUMERIC, nullptr);
    ASSERT_NE(std::setlocale(LC_NUMERIC, "de_DE.UTF-8"), nullptr) << "the de_DE.UTF-8 locale is not installed";
    char slot[80];
    std::snprintf(slot, sizeof slot, "%f", 1764000123456.0);
    const bool comma = std::strchr(slot, ',') != nullptr;
    const bool passes = !CheckHeatSlot(slot, 1764000123456);
    std::setlocale(LC_NUMERIC, saved.c_str());
    EXPECT_TRUE(comma);
    EXPECT_TRUE(passes);
}

TEST(HeatCheck, EveryPassOfABlockIsKeptInTurnStartingWithTheFirst)
{
    EXPECT_EQ(CheckedPass(0), 0);
    std::set<std::int32_t> passes;
    for (std::uint32_t block = 0; block < 65536; ++block) {
        const std::int32_t pass = CheckedPass(block);
        ASSERT_GE(pass, 0);
        ASSERT_LT(pass, 65536);
        passes.insert(pass);
    }
    EXPECT_EQ(passes.size(), 65536u);
}

// ---- the work counts and what follows from them

namespace {
// A sample in which each worker did `blocks[k]` blocks, the last ending at
// `ends[k]` ms.
HeatWorkSample Sample(double seconds, std::vector<std::uint32_t> blocks, std::vector<std::uint32_t> ends,
                      bool done = false)
{
    HeatWorkSample sample;
    sample.seconds = seconds;
    for (std::size_t k = 0; k < blocks.size(); ++k) {
        HeatWorkerReading reading;
        reading.blocks = blocks[k];
        reading.endMillis = ends[k];
        reading.done = done;
        reading.checks = 2ull * blocks[k];
        reading.processor = static_cast<std::int32_t>(k);
        sample.workers.push_back(reading);
    }
    return sample;
}

// Two workers at a steady 20 blocks a second each (1 310 720 passes/s),
// the rate of the second worker multiplied by `factor(second)`.
HeatWorkHistory SteadyHistory(int seconds, std::int32_t testMillis, double (*factor)(int) = nullptr)
{
    HeatWorkHistory history;
    history.Start(testMillis);
    double second = 0;
    std::uint32_t a = 0;
    double b = 0;
    for (int s = 1; s <= seconds; ++s) {
        a += 20;
        b += 20 * (factor != nullptr ? factor(s) : 1.0);
        second = s;
        history.Add(Sample(second, {a, static_cast<std::uint32_t>(b)}, {std::uint32_t(s * 1000), std::uint32_t(s * 1000)}));
    }
    return history;
}
}  // namespace

TEST(HeatWorkRates, EachSecondIsTheBlocksFinishedOverTheirOwnClockReadings)
{
    HeatWorkHistory history;
    history.Start(60000);
    // Worker 0: 10 blocks by 950 ms, 21 by 1980 ms; worker 1: 12 by 990 ms, 24 by 1990 ms.
    history.Add(Sample(1.0, {10, 12}, {950, 990}));
    history.Add(Sample(2.0, {21, 24}, {1980, 1990}));
    ASSERT_EQ(history.Rates().size(), 2u);
    const double first = 10 * 65536 * 1000.0 / 950 + 12 * 65536 * 1000.0 / 990;
    const double second = 11 * 65536 * 1000.0 / 1030 + 12 * 65536 * 1000.0 / 1000;
    EXPECT_DOUBLE_EQ(history.Rates()[0].passesPerSecond, first);
    EXPECT_DOUBLE_EQ(history.Rates()[1].passesPerSecond, second);
    EXPECT_EQ(history.Rates()[1].seconds, 2.0);
    EXPECT_DOUBLE_EQ(*history.CurrentRate(), second);
    const std::vector<std::optional<double>> each = history.ProcessorRates();
    ASSERT_EQ(each.size(), 2u);
    EXPECT_DOUBLE_EQ(*each[0], 21 * 65536 * 1000.0 / 1980);
    EXPECT_DOUBLE_EQ(*each[1], 24 * 65536 * 1000.0 / 1990);
    EXPECT_DOUBLE_EQ(*history.SlowestPercent(), 100.0 * *each[0] / *each[1]);
    EXPECT_EQ(history.Checks(), 2u * (21 + 24));
}

TEST(HeatWorkRates, ABlockLongerThanASecondKeepsItsRateAndAFinishedWorkerCountsNothing)
{
    HeatWorkHistory history;
    history.Start(60000);
    history.Add(Sample(1.0, {1, 10}, {800, 1000}));
    history.Add(Sample(2.0, {1, 20}, {800, 2000}));  // worker 0 is inside a long block
    ASSERT_EQ(history.Rates().size(), 2u);
    EXPECT_DOUBLE_EQ(history.Rates()[1].passesPerSecond, 65536 * 1000.0 / 800 + 10 * 65536.0);
    HeatWorkSample done = Sample(3.0, {1, 20}, {800, 2000}, true);
    history.Add(done);  // nobody moved: no point
    EXPECT_EQ(history.Rates().size(), 2u);
    HeatWorkSample partly = Sample(4.0, {2, 20}, {3800, 2000});
    partly.workers[1].done = true;
    history.Add(partly);
    ASSERT_EQ(history.Rates().size(), 3u);
    EXPECT_DOUBLE_EQ(history.Rates()[2].passesPerSecond, 65536 * 1000.0 / 3000);
}

TEST(HeatWorkRates, NothingBeforeTheFirstBlock)
{
    HeatWorkHistory history;
    history.Start(60000);
    EXPECT_FALSE(history.CurrentRate());
    history.Add(Sample(1.0, {0, 0}, {0, 0}));
    EXPECT_FALSE(history.CurrentRate());
    EXPECT_FALSE(history.SlowestPercent());
    EXPECT_FALSE(history.SustainedPace());
    EXPECT_FALSE(history.ProcessorRates()[0]);
}

TEST(HeatWorkPace, ASteadyTenMinutesKeepsAHundredPerCentOfTheFirstThirtySeconds)
{
    const HeatWorkHistory history = SteadyHistory(600, 600000);
    const std::optional<HeatPace> pace = history.SustainedPace();
    ASSERT_TRUE(pace);
    EXPECT_DOUBLE_EQ(pace->percent, 100.0);
    EXPECT_EQ(pace->firstSeconds, 30.0);
    EXPECT_EQ(pace->lastSeconds, 60.0);
}

TEST(HeatWorkPace, ExactlyAMinuteComparesItsFifths)
{
    const HeatWorkHistory history = SteadyHistory(60, 60000);
    const std::optional<HeatPace> pace = history.SustainedPace();
    ASSERT_TRUE(pace);
    EXPECT_EQ(pace->firstSeconds, 12.0);
    EXPECT_EQ(pace->lastSeconds, 12.0);
    EXPECT_DOUBLE_EQ(pace->percent, 100.0);
}

TEST(HeatWorkPace, ATestShorterThanThirtySecondsComparesItsFifths)
{
    const HeatWorkHistory history = SteadyHistory(20, 20000);
    const std::optional<HeatPace> pace = history.SustainedPace();
    ASSERT_TRUE(pace);
    EXPECT_EQ(pace->firstSeconds, 4.0);
    EXPECT_EQ(pace->lastSeconds, 4.0);
    // Too early in that test the windows would overlap: no pace yet.
    EXPECT_FALSE(SteadyHistory(7, 20000).SustainedPace());
    EXPECT_TRUE(SteadyHistory(9, 20000).SustainedPace());
}

TEST(HeatWorkPace, APaceThatFallsIsThePerCentOfTheFirstWindow)
{
    // The second worker slows to half from the fourth minute on: the last
    // minute does 20 + 10 blocks a second against 40 in the first 30 s.
    const HeatWorkHistory history =
        SteadyHistory(600, 600000, [](int second) { return second > 180 ? 0.5 : 1.0; });
    const std::optional<HeatPace> pace = history.SustainedPace();
    ASSERT_TRUE(pace);
    EXPECT_NEAR(pace->percent, 75.0, 0.01);
    EXPECT_NEAR(*history.SlowestPercent(), 100.0 * (180 + 420 * 0.5) / 600, 0.1);
}

TEST(HeatWorkText, RatesCountsAndClocks)
{
    EXPECT_EQ(FormatPassRate(1823456.0), "1.82 M passes/s");
    EXPECT_EQ(FormatPassRate(18234567.0), "18.2 M passes/s");
    EXPECT_EQ(FormatPassRate(999600.0), "1.00 M passes/s");
    EXPECT_EQ(FormatPassRate(65536.0), "65.5 k passes/s");
    EXPECT_EQ(FormatPassRate(42.0), "42 passes/s");
    EXPECT_EQ(FormatPassRate(2.5e9), "2.50 G passes/s");
    EXPECT_EQ(FormatPassRate(0.0), "0 passes/s");
    EXPECT_EQ(FormatPassRate(std::numeric_limits<double>::quiet_NaN()), "0 passes/s");
    EXPECT_EQ(GroupedNumber(0), "0");
    EXPECT_EQ(GroupedNumber(999), "999");
    EXPECT_EQ(GroupedNumber(41208), "41,208");
    EXPECT_EQ(GroupedNumber(1234567), "1,234,567");
    EXPECT_EQ(ElapsedClock(252000), "04:12");
    EXPECT_EQ(ElapsedClock(999), "00:00");
    EXPECT_EQ(ElapsedClock(3852000), "1:04:12");
    EXPECT_EQ(ElapsedClock(-5), "00:00");
}

TEST(HeatFaultSwitch, ReadsProcessorAndSeconds)
{
    std::string problem;
    const std::optional<HeatFault> fault = ParseHeatFault("3:252", problem);
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault->processor, 3);
    EXPECT_EQ(fault->seconds, 252);
    for (const char* bad : {"", "3", ":5", "3:", "-1:5", "3:-5", "a:b", "3:5:7", "3.5:2", "99999999999:1", " 3:5"}) {
        problem.clear();
        EXPECT_FALSE(ParseHeatFault(bad, problem)) << bad;
        EXPECT_NE(problem.find("TARNWICK_HEAT_FAULT must be PROCESSOR:SECONDS"), std::string::npos) << bad;
    }
}
