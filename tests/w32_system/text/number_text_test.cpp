// Numbers as text without a locale, and refused arguments. With locales:
// number_text_linux_test.cpp.
#include <climits>
#include <cmath>
#include <tuple>

#include "support/test.h"

#include <plinth_w32_system.h>

#include "support/wide_text.h"

namespace
{

using test::utf8;

std::string plain(double value, int decimals)
{
    wchar_t text[1024];
    return QV_DoubleToStringEx(value, decimals, text, 1024, true, false, 0) ? utf8(text)
                                                                            : "<false>";
}

TEST(NumberText, ShowsTheFewestDecimalsThatTheLimitAllowsButABareZeroOnlyForTheSmallest)
{
    const double below = std::nextafter(0.00001, 0.0);
    const std::tuple<double, int, const char*> rows[] = {
        {0.5, 0, "0.5"},         {2.5, 0, "2"},
        {130.5, 0, "130"},       {0.125, 2, "0.12"},
        {-3.5, 0, "-4"},         {1e10, 0, "10000000000"},
        {1500.0, 0, "1500"},     {1234567.5, 1, "1234567.5"},
        {9.995, 1, "10"},        {0.1, 17, "0.10000000000000001"},
        {-0.0004, 2, "-0.0004"}, {0.00096, 2, "0.001"},
        {3.14159, 2, "3.14"},    {100.0, 2, "100"},
        {0.999, 2, "1"},         {0.3, 0, "0.3"},
        {0.04, 1, "0.04"},       {-1500.0, 3, "-1500"},
        {0.00001, 0, "0.00001"}, {below, 6, "0"},
        {-below, INT_MAX, "0"},  {-0.0, 0, "0"}};
    for (const auto& [value, decimals, text] : rows)
        EXPECT_EQ(plain(value, decimals), text) << value;
}

TEST(NumberText, HugeNumbersAreShownInFullOrNotAtAll)
{
    EXPECT_EQ(plain(1e308, 300).size(), 309u);
    // Only digits that fit are requested; the text ends with its terminator in the last place.
    for (const auto& [value, decimals] : {std::pair{1e308, 2}, {0.5, INT_MAX}, {0.5, 300}})
    {
        wchar_t text[100];
        EXPECT_FALSE(QV_DoubleToString(value, decimals, text, 100)) << value;
        EXPECT_EQ(wcslen32(text), 99u) << value << ", " << decimals;
    }
}

// The buffer has exactly the size, so that a sanitizer sees any access beyond it.
TEST(NumberText, FitsWithItsTerminatorOrNot)
{
    static constexpr std::tuple<double, int, int> rows[] = {
        {3.14159, 2, 5}, {-2.5, 1, 5}, {0.3, 0, 4}, {0.0004, 2, 7}, {0.0, 2, 2}};
    for (const auto& [value, decimals, needed] : rows)
        for (int size = 1; size < 12; ++size)
        {
            std::vector<wchar_t> text(static_cast<size_t>(size), L'#');
            const bool fits =
                QV_DoubleToStringEx(value, decimals, text.data(), size, true, false, 0);
            EXPECT_EQ(fits, size >= needed) << value << " in " << size;
            const bool terminated = std::find(text.begin(), text.end(), L'\0') != text.end();
            EXPECT_EQ(terminated, fits || value != 0) << value << " in " << size;
        }
}

TEST(NumberText, RefusesNoBufferAndNegativeDecimals)
{
    wchar_t text[8] = L"as was";
    EXPECT_FALSE(QV_DoubleToString(1, 2, nullptr, 8));
    for (const int size : {0, -1, INT_MIN})
        EXPECT_FALSE(QV_DoubleToString(1, 2, text, size));
    EXPECT_FALSE(QV_DoubleToString(1, -1, text, 8));
    EXPECT_EQ(utf8(text), "as was");
    double value = 7;
    EXPECT_FALSE(QV_StringToDouble(nullptr, &value));
    EXPECT_FALSE(QV_StringToDouble(L"1", nullptr));
    EXPECT_FALSE(QV_IsStringDouble(nullptr));
}

TEST(NumberText, ReadsADotInEveryLocaleAndLeavesTheVariableWithoutANumber)
{
    static constexpr std::tuple<const wchar_t*, bool, double> rows[] = {
        {L"  -2.25e3 kg", true, -2250},
        {L"1e999", true, HUGE_VAL},
        {L".5", true, 0.5},
        {L" ", false, -1},
        {L"-", false, -1},
        {L"e5", false, -1},
        {L"\x0661", false, -1}};
    for (const auto& [number, read, expected] : rows)
    {
        double value = -1;
        EXPECT_EQ(QV_StringToDouble(number, &value), read) << utf8(number);
        EXPECT_EQ(value, expected) << utf8(number);
    }
    wchar_t* end = nullptr;
    const wchar_t text[] = L" 2.5,7";
    EXPECT_EQ(QV_wstrtod(text, &end), 2.5);
    EXPECT_EQ(end, text + 4);
    EXPECT_EQ(QV_wstrtod(L"3", nullptr), 3);
}

TEST(NumberText, TellsNumbersByTheirCharacters)
{
    for (const wchar_t* yes : {L"12", L"-1.5", L",5", L"+-3", L"5.", L"0", L".+5", L"--,1"})
        EXPECT_TRUE(QV_IsStringDouble(yes)) << utf8(yes);
    for (const wchar_t* no : {L"", L".", L"-", L"1e5", L"1.2.3", L"1,000.5", L"1-2", L" 1", L"1 ",
                              L"nan", L"\xFF11", L"..5", L"0x1"})
        EXPECT_FALSE(QV_IsStringDouble(no)) << utf8(no);
}

TEST(FormatSpec, TurnsTheStandardsLengthIntoTheRuntimes)
{
    static constexpr std::tuple<const char*, const char*, bool> rows[] = {
        {"%I64u", "%I64u", true},
        {"a%lld b%llu", "a%I64d b%I64u", true},
        {"%lllx", "%I64lx", true},
        {"%l", "%l", false},
        {"", "", false}};
    for (const auto& [before, after, result] : rows)
    {
        // No more room than is asked for.
        std::vector<char> narrow(std::strlen(after) + 1);
        std::copy(before, before + std::strlen(before), narrow.begin());
        std::vector<wchar_t> wide(narrow.begin(), narrow.end());
        EXPECT_EQ(QV_Conv64FmtSpecA(narrow.data()), result) << before;
        EXPECT_STREQ(narrow.data(), after);
        EXPECT_EQ(QV_Conv64FmtSpecW(wide.data()), result) << before;
        EXPECT_EQ(utf8(wide.data()), after);
    }
}

} // namespace
