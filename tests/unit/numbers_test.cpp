#include "core/numbers.h"
#include "tests/support/required_tool.h"

#include <gtest/gtest.h>

#include <clocale>
#include <limits>
#include <string>
#include <vector>

TEST(Numbers, ParseIntReadsLikeAtoi)
{
    EXPECT_EQ(ParseInt(L"20"), 20);
    EXPECT_EQ(ParseInt(L"  \t-5"), -5);
    EXPECT_EQ(ParseInt(L"+7x"), 7);
    EXPECT_EQ(ParseInt(L"5 heattime 3"), 5);
    EXPECT_EQ(ParseInt(L"=9"), 0);
    EXPECT_EQ(ParseInt(L"abc"), 0);
    EXPECT_EQ(ParseInt(L"-"), 0);
    EXPECT_EQ(ParseInt(L""), 0);
    EXPECT_EQ(ParseInt(nullptr), 0);
}

TEST(Numbers, ParseIntClampsOutOfRangeValues)
{
    EXPECT_EQ(ParseInt(L"2147483647"), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(ParseInt(L"2147483648"), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(ParseInt(L"-2147483648"), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(ParseInt(L"-99999999999999999999"), std::numeric_limits<std::int32_t>::min());
}

TEST(Numbers, ParseRealStopsAtTheFirstCharacterThatIsNoNumber)
{
    const wchar_t* end = nullptr;
    const wchar_t text[] = L" 12.5;77";
    EXPECT_DOUBLE_EQ(ParseReal(text, &end), 12.5);
    EXPECT_EQ(end, text + 5);
    EXPECT_DOUBLE_EQ(ParseReal(L"abc"), 0.0);
    EXPECT_DOUBLE_EQ(ParseReal(L"1e3"), 1000.0);
}

namespace {
// Selects an installed locale whose decimal separator is a comma; false when
// the machine has none (`make test` installs de_DE.UTF-8).
bool SelectCommaDecimalLocale()
{
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8", "es_ES.UTF-8",
                             "it_IT.UTF-8", "nl_NL.UTF-8", "pt_BR.UTF-8", "ru_RU.UTF-8", "de_DE", "fr_FR"})
        if (std::setlocale(LC_ALL, name) != nullptr && std::string(std::localeconv()->decimal_point) == ",")
            return true;
    return false;
}
}  // namespace

TEST(Numbers, ParseRealIgnoresACommaDecimalLocale)
{
    const std::string saved = std::setlocale(LC_ALL, nullptr);
    const bool selected = SelectCommaDecimalLocale();
    if (!selected)
        std::setlocale(LC_ALL, saved.c_str());
    TARNWICK_REQUIRE_TOOL(selected, "a comma-decimal locale (de_DE.UTF-8)");
    const double point = ParseReal(L"2.5");
    const double comma = ParseReal(L"2,5");
    std::setlocale(LC_ALL, saved.c_str());
    EXPECT_DOUBLE_EQ(point, 2.5);
    EXPECT_DOUBLE_EQ(comma, 2.0);
}

TEST(Numbers, WrappingMultiplyWrapsLikeTheProcessor)
{
    EXPECT_EQ(WrappingMultiply(35791, 60000), 2147460000);
    EXPECT_EQ(WrappingMultiply(35792, 60000), -2147447296);
    EXPECT_EQ(WrappingMultiply(71583, 60000), 12704);
    EXPECT_EQ(WrappingMultiply(-2, 60000), -120000);
}

TEST(Numbers, MedianOfAnOddCountIsTheMiddleValue)
{
    EXPECT_DOUBLE_EQ(Median({3.0, 1.0, 2.0}), 2.0);
    EXPECT_DOUBLE_EQ(Median({7.5}), 7.5);
    EXPECT_DOUBLE_EQ(Median({9.0, -1.0, 4.0, 4.0, 100.0}), 4.0);
}

TEST(Numbers, MedianOfAnEvenCountIsTheMeanOfTheMiddleTwo)
{
    EXPECT_DOUBLE_EQ(Median({4.0, 1.0, 3.0, 2.0}), 2.5);
    EXPECT_DOUBLE_EQ(Median({10.0, 20.0}), 15.0);
}

TEST(Numbers, MedianOfNothingIsZeroAndTheValuesStayAsGiven)
{
    EXPECT_DOUBLE_EQ(Median({}), 0.0);
    const std::vector<double> values{5.0, 1.0, 3.0};
    EXPECT_DOUBLE_EQ(Median(values), 3.0);
    EXPECT_EQ(values, (std::vector<double>{5.0, 1.0, 3.0}));
}
