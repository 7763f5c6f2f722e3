#include "bench/heat_check.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {
// The pass written again from its description, apart from the worker's code:
// counters and reals step by one, then (when the counter and the divisor are
// not zero) the products, the quotients and the reals, in the same order and
// with the same IEEE operations, so a correct processor gives the same bits.
HeatPassValues Recompute(const HeatPassRecord& record)
{
    HeatPassValues v = record.before;
    const std::uint32_t c1 = static_cast<std::uint32_t>(v.c1) + 1u;
    const std::uint32_t c2 = static_cast<std::uint32_t>(v.c2) + 1u;
    v.c1 = static_cast<std::int32_t>(c1);
    v.c2 = static_cast<std::int32_t>(c2);
    v.d1 = record.before.d1 + 1.0;
    v.d2 = record.before.d2 + 1.0;
    if (c1 == 0u || v.d2 == 0.0)
        return v;
    const std::int32_t m = static_cast<std::int32_t>(c2 * c1);
    // c2 ÷ c1 truncated toward zero; the one quotient beyond 32 bits wraps.
    const std::int32_t n = v.c1 == -1 ? static_cast<std::int32_t>(0u - c2) : v.c2 / v.c1;
    v.m = m;
    v.n = n;
    v.product = static_cast<std::int64_t>(static_cast<std::uint64_t>(record.t1) *
                                          static_cast<std::uint64_t>(record.t2));
    v.sum = static_cast<std::int64_t>(static_cast<std::uint64_t>(record.t1) + static_cast<std::uint64_t>(record.t2));
    const bool divides = v.sum != 0 && !(v.sum == -1 && v.product == std::numeric_limits<std::int64_t>::min());
    if (divides)
        v.quotient = v.product / v.sum;
    const double e1 = static_cast<double>(static_cast<std::int32_t>(static_cast<std::uint32_t>(m) *
                                                                     static_cast<std::uint32_t>(n))) /
                      v.d2;
    const double e2 = e1 / v.d2;
    v.e1 = e1;
    v.e2 = e2;
    v.d1 = e1 * e2;
    v.d2 = v.d1 / v.d2;
    return v;
}

std::string Integer(std::int64_t value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%" PRId64, value);
    return text;
}

std::string Real(double value)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value);
    return text;
}

bool SameBits(double a, double b)
{
    std::uint64_t x, y;
    std::memcpy(&x, &a, sizeof x);
    std::memcpy(&y, &b, sizeof y);
    return x == y;
}

std::optional<HeatCheckFailure> Differs(const char* name, std::int32_t expected, std::int32_t found)
{
    if (expected == found)
        return std::nullopt;
    return HeatCheckFailure{name, Integer(expected), Integer(found)};
}

std::optional<HeatCheckFailure> Differs(const char* name, std::int64_t expected, std::int64_t found)
{
    if (expected == found)
        return std::nullopt;
    return HeatCheckFailure{name, Integer(expected), Integer(found)};
}

std::optional<HeatCheckFailure> Differs(const char* name, double expected, double found)
{
    if (SameBits(expected, found))
        return std::nullopt;
    return HeatCheckFailure{name, Real(expected), Real(found)};
}

}  // namespace

std::optional<HeatCheckFailure> CheckHeatDivision(const HeatPassValues& v)
{
    const std::int64_t remainder = v.product % v.sum;
    const std::uint64_t back = static_cast<std::uint64_t>(v.quotient) * static_cast<std::uint64_t>(v.sum) +
                               static_cast<std::uint64_t>(remainder);
    const auto magnitude = [](std::int64_t x) {
        return x < 0 ? 0u - static_cast<std::uint64_t>(x) : static_cast<std::uint64_t>(x);
    };
    const bool signOk = remainder == 0 || (remainder < 0) == (v.product < 0);
    if (static_cast<std::int64_t>(back) == v.product && magnitude(remainder) < magnitude(v.sum) && signOk)
        return std::nullopt;
    return HeatCheckFailure{"quotient × sum + remainder", Integer(v.product),
                            Integer(static_cast<std::int64_t>(back))};
}

std::optional<HeatCheckFailure> CheckHeatPass(const HeatPassRecord& record, bool wrongExpectation)
{
    HeatPassValues expected = Recompute(record);
    if (wrongExpectation)
        expected.product = static_cast<std::int64_t>(static_cast<std::uint64_t>(expected.product) + 1u);
    const HeatPassValues& found = record.after;
    std::optional<HeatCheckFailure> failure;
    if ((failure = Differs("c1", expected.c1, found.c1)) || (failure = Differs("c2", expected.c2, found.c2)) ||
        (failure = Differs("m", expected.m, found.m)) || (failure = Differs("n", expected.n, found.n)) ||
        (failure = Differs("product", expected.product, found.product)) ||
        (failure = Differs("sum", expected.sum, found.sum)) ||
        (failure = Differs("quotient", expected.quotient, found.quotient)) ||
        (failure = Differs("d1", expected.d1, found.d1)) || (failure = Differs("d2", expected.d2, found.d2)) ||
        (failure = Differs("e1", expected.e1, found.e1)) || (failure = Differs("e2", expected.e2, found.e2)))
        return failure;
    // The pass divided when its counter and divisor were not zero and the
    // division was defined; then the quotient must multiply back.
    const bool counted = static_cast<std::uint32_t>(record.before.c1) + 1u != 0u && record.before.d2 + 1.0 != 0.0;
    const bool divided = counted && found.sum != 0 &&
                         !(found.sum == -1 && found.product == std::numeric_limits<std::int64_t>::min());
    return divided ? CheckHeatDivision(found) : std::nullopt;
}

std::optional<HeatCheckFailure> CheckHeatSlot(const char* slot, std::int64_t written)
{
    const double expected = static_cast<double>(written);
    if (std::memchr(slot, '\0', 80) == nullptr)
        return HeatCheckFailure{"slot text", Real(expected), "(no end within 80 bytes)"};
    char* end = nullptr;
    errno = 0;
    const double read = std::strtod(slot, &end);
    if (end == slot || *end != '\0' || errno != 0) {
        std::string text(slot);
        if (text.size() > 40)
            text.resize(40);
        return HeatCheckFailure{"slot text", Real(expected), "\"" + text + "\""};
    }
    if (!SameBits(read, expected))
        return HeatCheckFailure{"slot text", Real(expected), Real(read)};
    return std::nullopt;
}

std::int32_t CheckedPass(std::uint32_t block)
{
    // An odd multiplier steps through all 65536 passes before it repeats.
    return static_cast<std::int32_t>((block * 40503u) & 65535u);
}
