#include "bench/work_cycle.h"

#include <wx/time.h>

#include <chrono>

namespace {
// 32-bit arithmetic wraps in two's complement: computed unsigned, converted
// back (well defined since C++20).
std::int32_t Mul(std::int32_t a, std::int32_t b)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

std::int32_t Inc(std::int32_t a)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + 1u);
}

// Shift counts are taken modulo 32, as the processor does.
std::int32_t ShiftLeft(std::int32_t value, std::int32_t count)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value) << (count & 31));
}

std::int32_t ShiftRight(std::int32_t value, std::int32_t count)
{
    return value >> (count & 31);  // arithmetic for negative values
}

}  // namespace

void RunScalarMix(WorkState& s)
{
    s.K = 0;
    s.E = 0;
    s.F = 0;
    s.x = 0.0;
    s.A = 0;
    s.u = 0.0;
    s.D = 1;
    s.B = 1;
    s.G = 1;
    s.H = 1;
    s.v = 1.0;
    while (s.x < 1000.0) {
        s.p = s.u * s.v;
        s.M = Mul(s.G, s.H);
        s.q = s.u / s.v;
        s.N = s.G / s.H;
        s.r = s.p * s.q;
        s.O = Mul(s.M, s.N);
        s.s = s.p / s.q;
        s.P = s.M / s.N;
        s.t = s.r * s.s;
        s.Q = Mul(s.O, s.P);
        s.w = s.r / s.s;
        s.R = s.O / s.P;
        s.p = static_cast<double>(s.O);
        s.q = static_cast<double>(s.M / s.N);
        s.r = static_cast<double>(s.M) * s.p;
        s.s = s.p / static_cast<double>(s.M);
        s.S = s.A & s.B;
        s.T = s.A | s.B;
        s.U = s.K ^ s.D;
        s.V = ~s.K;
        s.E = ShiftLeft(s.E, s.F);
        s.F = ShiftRight(s.F, s.E);
        s.z = static_cast<double>(s.A % s.B);
        s.z = s.z == 0.0 ? 1.0 : 0.0;
        s.x = s.x + 1.0;
        s.A = Inc(s.A);
        s.B = Inc(s.B);
        s.u = s.u + 1.0;
        s.v = s.v + 1.0;
        s.K = Inc(s.K);
        s.D = Inc(s.D);
        s.E = Inc(s.E);
        s.F = Inc(s.F);
        s.G = Inc(s.G);
        s.H = Inc(s.H);
    }
}

void RunByteArrays(WorkState& s)
{
    volatile int i = 1, j = 254;
    volatile double y = 0.0;
    while (y < 255.0) {
        s.bytesA[i] = static_cast<std::int8_t>(j);
        s.bytesB[j] = static_cast<std::int8_t>(i);
        if (s.bytesA[i] < s.bytesB[j])
            s.bytesC[j] = static_cast<std::int8_t>(i);
        else
            s.bytesC[i] = static_cast<std::int8_t>(j);
        s.valuesC[i] = static_cast<double>(s.bytesA[i] * s.bytesB[j]);
        s.valuesC[j] = static_cast<double>(s.bytesA[i] / s.bytesB[j]);
        y = y + 1.0;
        i = i + 1;
        j = j - 1;
    }
}

void RunDoubleArrays(WorkState& s)
{
    volatile int i = 0, j = 1000;
    volatile double counter = 0.0;
    while (counter < 1000.0) {
        s.valuesA[i] = static_cast<double>(j);
        s.valuesB[j] = static_cast<double>(i);
        if (s.valuesA[i] >= s.valuesB[j])
            s.valuesC[i] = static_cast<double>(j);
        else
            s.valuesC[j] = static_cast<double>(i);
        s.valuesC[i] = s.valuesB[j] * s.valuesA[i];
        s.valuesC[j] = s.valuesA[i] / s.valuesB[j];  // 1000 / 0 on the first pass: an infinity
        counter = counter + 1.0;
        i = i + 1;
        j = j - 1;
    }
}

void RunWorkCycle(WorkState& state)
{
    RunScalarMix(state);
    RunByteArrays(state);
    RunDoubleArrays(state);
}

std::int64_t ReadClockMillis()
{
    return wxGetLocalTimeMillis().GetValue();
}

TimedRun RunTimedBlocks(std::int32_t millis, const MillisClock& clock)
{
    WorkState state;
    state.bytesC[0] = 0;
    state.valuesC[0] = 0.0;

    TimedRun run;
    run.startNanos = std::chrono::duration_cast<std::chrono::nanoseconds>(
                         std::chrono::steady_clock::now().time_since_epoch())
                         .count();
    run.startMillis = static_cast<double>(clock());
    double now = run.startMillis;
    const double limit = static_cast<double>(millis);
    volatile double blocks = 0.0;
    while (limit > now - run.startMillis) {
        volatile double cycle = 0.0;
        while (cycle < 100.0) {
            RunWorkCycle(state);
            cycle = cycle + 1.0;
        }
        now = static_cast<double>(clock());
        blocks = blocks + 1.0;
    }
    run.blocks = blocks;
    run.endMillis = now;
    run.points = 10.0 * run.blocks / static_cast<double>(millis / 1000);
    return run;
}
