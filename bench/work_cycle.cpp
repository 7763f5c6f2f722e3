#include "bench/work_cycle.h"

#include <wx/time.h>

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

// An opaque use of a value after each step: the step must be computed, right
// there, in its own type, and nothing can be merged across it or vectorised.
// Scalars stay in registers, so the phases measure arithmetic rather than
// the round trips of memory.
inline void Keep(std::int32_t& value)
{
    asm volatile("" : "+r"(value));
}

inline void Keep(double& value)
{
    asm volatile("" : "+x"(value));
}

namespace {
// Phase 1 until the pass counter reaches `passes`. The cycle runs it with
// 1000.0, folded in as a constant, so that its code is the same as if the
// number were written in the loop; tests run the first passes alone.
[[gnu::always_inline]] inline void ScalarMix(WorkState& state, double passes)
{
    std::int32_t A, B, K, D, E, F, G, H, M = 0, N = 0, O = 0, P = 0, Q = 0, R = 0, S = 0, T = 0, U = 0, V = 0;
    double x, u, v, p = 0, q = 0, r = 0, s = 0, t = 0, w = 0, z = 0;
    K = 0;
    E = 0;
    F = 0;
    x = 0.0;
    A = 0;
    u = 0.0;
    D = 1;
    B = 1;
    G = 1;
    H = 1;
    v = 1.0;
    Keep(K), Keep(E), Keep(F), Keep(x), Keep(A), Keep(u), Keep(D), Keep(B), Keep(G), Keep(H), Keep(v);
    while (x < passes) {
        p = u * v;
        Keep(p);
        M = Mul(G, H);
        Keep(M);
        q = u / v;
        Keep(q);
        N = G / H;
        Keep(N);
        r = p * q;
        Keep(r);
        O = Mul(M, N);
        Keep(O);
        s = p / q;
        Keep(s);
        P = M / N;
        Keep(P);
        t = r * s;
        Keep(t);
        Q = Mul(O, P);
        Keep(Q);
        w = r / s;
        Keep(w);
        R = O / P;
        Keep(R);
        p = static_cast<double>(O);
        Keep(p);
        Keep(M), Keep(N);  // the division is made again, not taken from P
        q = static_cast<double>(M / N);
        Keep(q);
        r = static_cast<double>(M) * p;
        Keep(r);
        Keep(M);  // converted again, not taken from step 15
        s = p / static_cast<double>(M);
        Keep(s);
        S = A & B;
        Keep(S);
        T = A | B;
        Keep(T);
        U = K ^ D;
        Keep(U);
        V = ~K;
        Keep(V);
        E = ShiftLeft(E, F);
        Keep(E);
        F = ShiftRight(F, E);
        Keep(F);
        z = static_cast<double>(A % B);
        Keep(z);
        z = z == 0.0 ? 1.0 : 0.0;
        Keep(z);
        x = x + 1.0;
        Keep(x);
        A = Inc(A);
        B = Inc(B);
        u = u + 1.0;
        v = v + 1.0;
        K = Inc(K);
        D = Inc(D);
        E = Inc(E);
        F = Inc(F);
        G = Inc(G);
        H = Inc(H);
        Keep(A), Keep(B), Keep(u), Keep(v), Keep(K), Keep(D), Keep(E), Keep(F), Keep(G), Keep(H);
    }
    // The last values, where a test can look at them.
    state.A = A;
    state.B = B;
    state.K = K;
    state.D = D;
    state.E = E;
    state.F = F;
    state.G = G;
    state.H = H;
    state.M = M;
    state.N = N;
    state.O = O;
    state.P = P;
    state.Q = Q;
    state.R = R;
    state.S = S;
    state.T = T;
    state.U = U;
    state.V = V;
    state.x = x;
    state.u = u;
    state.v = v;
    state.p = p;
    state.q = q;
    state.r = r;
    state.s = s;
    state.t = t;
    state.w = w;
    state.z = z;
}
}  // namespace

void RunScalarMix(WorkState& state)
{
    ScalarMix(state, 1000.0);
}

void RunByteArrays(WorkState& state)
{
    std::int32_t i = 1, j = 254;
    double y = 0.0;
    Keep(i), Keep(j), Keep(y);
    while (y < 255.0) {
        state.bytesA[i] = static_cast<std::int8_t>(j);
        state.bytesB[j] = static_cast<std::int8_t>(i);
        if (state.bytesA[i] < state.bytesB[j])
            state.bytesC[j] = static_cast<std::int8_t>(i);
        else
            state.bytesC[i] = static_cast<std::int8_t>(j);
        state.valuesC[i] = static_cast<double>(state.bytesA[i] * state.bytesB[j]);
        state.valuesC[j] = static_cast<double>(state.bytesA[i] / state.bytesB[j]);
        y = y + 1.0;
        i = i + 1;
        j = j - 1;
        Keep(y), Keep(i), Keep(j);
    }
    state.i = i;
    state.j = j;
    state.y = y;
}

void RunDoubleArrays(WorkState& state)
{
    std::int32_t i = 0, j = 1000;
    double counter = 0.0;
    Keep(i), Keep(j), Keep(counter);
    while (counter < 1000.0) {
        state.valuesA[i] = static_cast<double>(j);
        state.valuesB[j] = static_cast<double>(i);
        if (state.valuesA[i] >= state.valuesB[j])
            state.valuesC[i] = static_cast<double>(j);
        else
            state.valuesC[j] = static_cast<double>(i);
        state.valuesC[i] = state.valuesB[j] * state.valuesA[i];
        state.valuesC[j] = state.valuesA[i] / state.valuesB[j];  // 1000 / 0 on the first pass: an infinity
        counter = counter + 1.0;
        i = i + 1;
        j = j - 1;
        Keep(counter), Keep(i), Keep(j);
    }
    state.i = i;
    state.j = j;
    state.counter = counter;
}

void RunWorkCycle(WorkState& state)
{
    RunScalarMix(state);
    RunByteArrays(state);
    RunDoubleArrays(state);
}

std::uint64_t RunSamples::Blocks() const
{
    std::uint64_t blocks = after;
    for (std::uint32_t count : perSecond)
        blocks += count;
    return blocks;
}

std::int64_t ReadClockMillis()
{
    return wxGetLocalTimeMillis().GetValue();
}

TimedRun RunTimedBlocks(std::int32_t millis, const MillisClock& clock)
{
    return RunTimedBlocksOf(millis, clock, [](WorkState& state) { RunWorkCycle(state); });
}

// Placed last, so that the functions of the benchmark keep their places.
void RunScalarMixPasses(WorkState& state, double passes)
{
    ScalarMix(state, passes);
}
