// The work cycle against a plain reference written separately, step by
// step, with 32-bit wrap-around made explicit.
#include "bench/work_cycle.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace {
std::int32_t Wrap(std::int64_t value)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::uint64_t>(value)));
}

struct ScalarReference {
    std::int32_t A, B, K, D, E, F, G, H, M, N, O, P, Q, R, S, T, U, V;
    double x, u, v, p, q, r, s, t, w, z;
};

// Phase 1, step by step, over `passes` passes.
ScalarReference ScalarPhase(int passes)
{
    ScalarReference c{};
    c.K = c.E = c.F = 0;
    c.A = 0;
    c.D = c.B = c.G = c.H = 1;
    c.x = 0.0;
    c.u = 0.0;
    c.v = 1.0;
    for (int pass = 0; pass < passes; ++pass) {
        c.p = c.u * c.v;
        c.M = Wrap(std::int64_t{c.G} * c.H);
        c.q = c.u / c.v;
        c.N = c.G / c.H;
        c.r = c.p * c.q;
        c.O = Wrap(std::int64_t{c.M} * c.N);
        c.s = c.p / c.q;
        c.P = c.M / c.N;
        c.t = c.r * c.s;
        c.Q = Wrap(std::int64_t{c.O} * c.P);
        c.w = c.r / c.s;
        c.R = c.O / c.P;
        c.p = c.O;
        c.q = c.M / c.N;
        c.r = double(c.M) * c.p;
        c.s = c.p / double(c.M);
        c.S = c.A & c.B;
        c.T = c.A | c.B;
        c.U = c.K ^ c.D;
        c.V = ~c.K;
        c.E = Wrap(std::int64_t{c.E} << (std::uint32_t(c.F) % 32));
        c.F = c.F >> (std::uint32_t(c.E) % 32);
        c.z = c.A % c.B;
        c.z = c.z == 0.0 ? 1.0 : 0.0;
        c.x += 1.0;
        ++c.A, ++c.B, c.u += 1.0, c.v += 1.0, ++c.K, ++c.D, ++c.E, ++c.F, ++c.G, ++c.H;
    }
    return c;
}

std::unique_ptr<WorkState> FreshState()
{
    auto state = std::make_unique<WorkState>();
    for (int i = 0; i < 1000; ++i) {
        state->bytesA[i] = 0;
        state->bytesB[i] = 0;
        state->bytesC[i] = 0;
    }
    for (int i = 0; i < 1001; ++i) {
        state->valuesA[i] = 0.0;
        state->valuesB[i] = 0.0;
        state->valuesC[i] = 0.0;
    }
    return state;
}
}  // namespace

TEST(WorkCycle, ScalarPhaseEndsWithTheReferenceValues)
{
    auto state = FreshState();
    RunScalarMix(*state);
    const ScalarReference c = ScalarPhase(1000);
    EXPECT_EQ(state->A, c.A);
    EXPECT_EQ(state->B, c.B);
    EXPECT_EQ(state->K, c.K);
    EXPECT_EQ(state->D, c.D);
    EXPECT_EQ(state->E, c.E);
    EXPECT_EQ(state->F, c.F);
    EXPECT_EQ(state->G, c.G);
    EXPECT_EQ(state->H, c.H);
    EXPECT_EQ(state->M, c.M);
    EXPECT_EQ(state->N, c.N);
    EXPECT_EQ(state->O, c.O);
    EXPECT_EQ(state->P, c.P);
    EXPECT_EQ(state->Q, c.Q);
    EXPECT_EQ(state->R, c.R);
    EXPECT_EQ(state->S, c.S);
    EXPECT_EQ(state->T, c.T);
    EXPECT_EQ(state->U, c.U);
    EXPECT_EQ(state->V, c.V);
    EXPECT_EQ(state->x, c.x);
    EXPECT_EQ(state->u, c.u);
    EXPECT_EQ(state->v, c.v);
    EXPECT_EQ(state->p, c.p);
    EXPECT_EQ(state->q, c.q);
    EXPECT_EQ(state->r, c.r);
    EXPECT_EQ(state->s, c.s);
    EXPECT_EQ(state->t, c.t);
    EXPECT_EQ(state->w, c.w);
    EXPECT_EQ(state->z, c.z);
}

TEST(WorkCycle, ScalarPhaseLastPassValuesWorkedOutByHand)
{
    auto state = FreshState();
    RunScalarMix(*state);
    // The last pass runs with A = 999, B = G = H = 1000, K = 999.
    EXPECT_EQ(state->M, 1000000);
    EXPECT_EQ(state->N, 1);
    EXPECT_EQ(state->R, 1);
    // 1000^4 = 10^12 wraps modulo 2^32 to 3567587328, that is -727379968.
    EXPECT_EQ(state->Q, -727379968);
    EXPECT_EQ(state->S, 999 & 1000);
    EXPECT_EQ(state->T, 999 | 1000);
    EXPECT_EQ(state->U, 999 ^ 1000);
    EXPECT_EQ(state->V, ~999);
    EXPECT_EQ(state->z, 0.0);
    EXPECT_EQ(state->x, 1000.0);
    EXPECT_EQ(state->A, 1000);
    EXPECT_EQ(state->G, 1001);
}

TEST(WorkCycle, QOverflowsFromPass216On)
{
    // Q of pass k is k^4: 215^4 still fits in 31 bits, 216^4 does not. The
    // phase itself, stopped after those passes, wraps without a trap.
    auto state = FreshState();
    RunScalarMixPasses(*state, 215.0);
    EXPECT_EQ(state->x, 215.0);
    EXPECT_EQ(state->Q, 215 * 215 * 215 * 215);
    EXPECT_GT(state->Q, 0);
    RunScalarMixPasses(*state, 216.0);
    EXPECT_EQ(state->x, 216.0);
    EXPECT_EQ(state->Q, Wrap(std::int64_t{216} * 216 * 216 * 216));
    EXPECT_LT(state->Q, 0);
    EXPECT_EQ(state->Q, ScalarPhase(216).Q);
}

TEST(WorkCycle, FirstPassDividesZeroByZeroWithoutTrapping)
{
    // s = p / q on the first pass is 0 / 0: the invalid-operation flag is
    // raised and the quotient is a NaN, which t = r x s and w = r / s carry;
    // step 16 then overwrites s with O / M = 1 / 1. The run goes on: nothing
    // traps.
    auto state = FreshState();
    std::feclearexcept(FE_ALL_EXCEPT);
    RunScalarMixPasses(*state, 1.0);
    EXPECT_TRUE(std::fetestexcept(FE_INVALID));
    EXPECT_EQ(state->x, 1.0);
    EXPECT_TRUE(std::isnan(state->t));
    EXPECT_TRUE(std::isnan(state->w));
    EXPECT_EQ(state->s, 1.0);
    EXPECT_TRUE(std::isnan(ScalarPhase(1).w));
}

TEST(WorkCycle, BytePhaseEndsWithTheReferenceArrays)
{
    auto state = FreshState();
    RunByteArrays(*state);
    std::int8_t a[1000] = {}, b[1000] = {}, c[1000] = {};
    double values[1001] = {};
    for (int pass = 0, i = 1, j = 254; pass < 255; ++pass, ++i, --j) {
        a[i] = static_cast<std::int8_t>(j);  // 254 becomes -2, 255 becomes -1
        b[j] = static_cast<std::int8_t>(i);
        if (a[i] < b[j])
            c[j] = static_cast<std::int8_t>(i);
        else
            c[i] = static_cast<std::int8_t>(j);
        values[i] = a[i] * b[j];
        ASSERT_NE(b[j], 0) << "pass " << pass;  // never a division by zero
        values[j] = a[i] / b[j];
    }
    for (int k = 0; k < 1000; ++k) {
        ASSERT_EQ(state->bytesA[k], a[k]) << k;
        ASSERT_EQ(state->bytesB[k], b[k]) << k;
        ASSERT_EQ(state->bytesC[k], c[k]) << k;
    }
    for (int k = 0; k < 1001; ++k)
        ASSERT_EQ(state->valuesC[k], values[k]) << k;
    EXPECT_EQ(state->bytesA[1], -2);  // 254 as a signed byte
    EXPECT_EQ(state->bytesB[0], -1);  // 255 as a signed byte
}

TEST(WorkCycle, DoublePhaseEndsWithTheReferenceArrays)
{
    auto state = FreshState();
    RunDoubleArrays(*state);
    std::vector<double> a(1001, 0.0), b(1001, 0.0), c(1001, 0.0);
    for (int i = 0, j = 1000; i < 1000; ++i, --j) {
        a[i] = j;
        b[j] = i;
        if (a[i] >= b[j])
            c[i] = j;
        else
            c[j] = i;
        c[i] = b[j] * a[i];
        c[j] = a[i] / b[j];
    }
    for (int k = 0; k < 1001; ++k) {
        ASSERT_EQ(state->valuesA[k], a[k]) << k;
        ASSERT_EQ(state->valuesB[k], b[k]) << k;
        ASSERT_EQ(state->valuesC[k], c[k]) << k;
    }
    // Index 1000 is written only on the first pass, 1000 / 0: the cycle's one
    // division by zero, an infinity rather than a trap.
    EXPECT_TRUE(std::isinf(state->valuesC[1000]));
    int infinities = 0;
    for (int k = 0; k <= 1000; ++k)
        infinities += std::isinf(state->valuesC[k]) ? 1 : 0;
    EXPECT_EQ(infinities, 1);
    // Index 1 is written last by pass 999: valuesA[999] / valuesB[1] = 1 / 999.
    EXPECT_EQ(state->valuesC[1], 1.0 / 999.0);
}

TEST(WorkCycle, CycleRunsThePhasesInOrder)
{
    auto cycled = FreshState();
    RunWorkCycle(*cycled);
    auto phased = FreshState();
    RunScalarMix(*phased);
    RunByteArrays(*phased);
    RunDoubleArrays(*phased);
    EXPECT_EQ(cycled->Q, phased->Q);
    for (int k = 0; k < 1000; ++k)
        ASSERT_EQ(cycled->bytesC[k], phased->bytesC[k]);
    for (int k = 0; k < 1001; ++k)
        ASSERT_TRUE(cycled->valuesC[k] == phased->valuesC[k] || (std::isnan(cycled->valuesC[k]) && std::isnan(phased->valuesC[k])));
}

namespace {
// A clock that reads the values given, then keeps adding the last step.
MillisClock Ticks(std::deque<std::int64_t> readings, std::int64_t step, int* reads = nullptr)
{
    auto last = std::make_shared<std::int64_t>(0);
    auto queue = std::make_shared<std::deque<std::int64_t>>(std::move(readings));
    return [queue, last, step, reads] {
        if (reads != nullptr)
            ++*reads;
        if (!queue->empty()) {
            *last = queue->front();
            queue->pop_front();
        } else {
            *last += step;
        }
        return *last;
    };
}
}  // namespace

TEST(TimedBlocks, PointsAreTenTimesBlocksPerWholeSecond)
{
    // 10000 ms, the clock advancing 2500 ms a block: 4 blocks, 4 points.
    const TimedRun run = RunTimedBlocks(10000, Ticks({0}, 2500));
    EXPECT_EQ(run.blocks, 4.0);
    EXPECT_EQ(run.points, 4.0);
}

TEST(TimedBlocks, TheDivisorIsAnIntegerNumberOfSeconds)
{
    // 2500 ms make 2 whole seconds: 3 blocks give 10 x 3 / 2 = 15 points.
    const TimedRun run = RunTimedBlocks(2500, Ticks({0}, 1000));
    EXPECT_EQ(run.blocks, 3.0);
    EXPECT_EQ(run.points, 15.0);
}

TEST(TimedBlocks, TheLastBlockStartedBeforeTheLimitIsCompleted)
{
    // The limit is passed inside the third block; it still counts.
    const TimedRun run = RunTimedBlocks(1000, Ticks({0}, 400));
    EXPECT_EQ(run.blocks, 3.0);
    EXPECT_GE(run.endMillis - run.startMillis, 1000.0);
}

TEST(TimedBlocks, AtLeastOneBlockRunsSoPointsAreNeverZero)
{
    const TimedRun run = RunTimedBlocks(1000, Ticks({0, 1000000}, 1));
    EXPECT_EQ(run.blocks, 1.0);
    EXPECT_EQ(run.points, 10.0);
}

TEST(TimedBlocks, TheClockIsReadOncePerBlockOfAHundredCycles)
{
    // The clock notes how many cycles ran since it was last read.
    int cycles = 0, cyclesAtLastRead = 0;
    std::vector<int> cyclesBetweenReads;
    const MillisClock clock = [&] {
        cyclesBetweenReads.push_back(cycles - cyclesAtLastRead);
        cyclesAtLastRead = cycles;
        return std::int64_t{300} * std::int64_t(cyclesBetweenReads.size() - 1);
    };
    const TimedRun run = RunTimedBlocksOf(1000, clock, [&](WorkState& state) {
        RunWorkCycle(state);
        ++cycles;
    });
    EXPECT_EQ(run.blocks, 4.0);
    // The start, then once after each block of 100 cycles.
    EXPECT_EQ(cyclesBetweenReads, (std::vector<int>{0, 100, 100, 100, 100}));
    EXPECT_EQ(cycles, 400);
}

TEST(TimedBlocks, AClockSteppingBackOnlyLengthensTheRun)
{
    const TimedRun run = RunTimedBlocks(1000, Ticks({1000, 500, -3000, -2500}, 2000));
    // Readings 1000 (start), 500, -3000, -2500, -500, 1500, 3500: six blocks.
    EXPECT_EQ(run.blocks, 6.0);
    EXPECT_GE(run.endMillis - run.startMillis, 1000.0);
}

TEST(TimedBlocks, RealClockRunLastsAtLeastItsLength)
{
    const TimedRun run = RunTimedBlocks(1000);
    EXPECT_GE(run.endMillis - run.startMillis, 1000.0);
    EXPECT_GE(run.blocks, 1.0);
    EXPECT_EQ(run.points, 10.0 * run.blocks);
    EXPECT_EQ(run.blocks, std::floor(run.blocks));
}
