// Known-answer checks of the heat test: a worker keeps one pass of each block
// (its inputs and its results), and after the block recomputes that pass in
// code of its own and reads one of the block's formatted clock readings back.
// A processor that computes wrongly under heat fails them. No I/O.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// Everything one heat pass reads and writes, as it stood at one moment.
struct HeatPassValues {
    std::int32_t c1 = 0, c2 = 0, m = 0, n = 0;
    std::int64_t product = 0, sum = 0, quotient = 0;
    double d1 = 0.0, d2 = 0.0, e1 = 0.0, e2 = 0.0;
};

/// One pass as it ran: the two clock readings it took, the values before it
/// and the values after it.
struct HeatPassRecord {
    std::int64_t t1 = 0, t2 = 0;
    HeatPassValues before, after;
};

/// What a failed check saw: the value's name, what it should have been and
/// what the processor had (as text: integers in decimal, doubles with every
/// digit).
struct HeatCheckFailure {
    std::string value;
    std::string expected;
    std::string found;
};

/// Recomputes the pass from `record.before`, `t1` and `t2` and compares every
/// value of `record.after` exactly (doubles bit for bit); then checks the
/// 64-bit division by multiplying back: quotient × sum + remainder = product,
/// with the remainder smaller than the sum and of the product's sign. With
/// `wrongExpectation` the expected product is off by one, so that a correct
/// pass fails: the path of a failing processor, for testing it. The first
/// difference, or nothing.
std::optional<HeatCheckFailure> CheckHeatPass(const HeatPassRecord& record, bool wrongExpectation = false);

/// The 64-bit division of a pass multiplied back: quotient × sum + remainder
/// = product, the remainder smaller than the sum and of the product's sign
/// (or zero). The sum must not be 0 and the division must be defined. This
/// catches a divider that is wrong the same way each time, which a
/// recomputation on it would repeat.
std::optional<HeatCheckFailure> CheckHeatDivision(const HeatPassValues& values);

/// Reads the 80-byte slot `slot` (a clock reading formatted with "%f") back as
/// a number and compares it with `written`. A slot without its terminating
/// zero, or with text that is not one whole number, fails.
std::optional<HeatCheckFailure> CheckHeatSlot(const char* slot, std::int64_t written);

/// The pass of block `block` whose values are kept: pass 0 for the first block,
/// then a different pass in each block, all 65536 in turn.
std::int32_t CheckedPass(std::uint32_t block);
