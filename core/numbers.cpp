#include "core/numbers.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include <clocale>
#include <cwchar>
#include <cwctype>
#include <limits>
#include <locale.h>

namespace {
// One "C" locale for the whole process, so a user's decimal comma never
// changes how a score is read.
locale_t ClassicLocale()
{
    static const locale_t classic = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    return classic;
}

bool IsSpace(wchar_t c)
{
    return c == L' ' || (c >= L'\t' && c <= L'\r');
}
}  // namespace

std::int32_t ParseInt(const wchar_t* text)
{
    if (text == nullptr)
        return 0;
    while (IsSpace(*text))
        ++text;
    bool negative = false;
    if (*text == L'+' || *text == L'-')
        negative = *text++ == L'-';
    std::int64_t value = 0;
    constexpr std::int64_t limit = std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1;
    for (; *text >= L'0' && *text <= L'9'; ++text) {
        value = value * 10 + (*text - L'0');
        if (value > limit)
            value = limit;
    }
    if (negative)
        return static_cast<std::int32_t>(-value);
    return value >= limit ? std::numeric_limits<std::int32_t>::max() : static_cast<std::int32_t>(value);
}

double ParseReal(const wchar_t* text, const wchar_t** end)
{
    if (text == nullptr) {
        if (end != nullptr)
            *end = text;
        return 0.0;
    }
    wchar_t* stop = nullptr;
    const double value = wcstod_l(text, &stop, ClassicLocale());
    if (end != nullptr)
        *end = stop;
    return value;
}

std::int32_t WrappingMultiply(std::int32_t a, std::int32_t b)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

std::string FormatFixed(double value, int decimals)
{
    char text[400];
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals);
    return end.ec == std::errc() && std::isfinite(value) ? std::string(text, end.ptr) : std::string();
}

double Median(std::vector<double> values)
{
    if (values.empty())
        return 0.0;
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2.0;
}
