// Numbers in 16-bit text; swscanf, which reads them by the same parser; and the floating-point
// control word, checked with the C library's own functions.
#include <cfenv>
#include <climits>
#include <clocale>
#include <sstream>
#include <tuple>

#include "support/test.h"

#include <float.h>
#include <tchar.h>

#include "support/needs.h"
#include "support/wide_text.h"

namespace
{

using test::utf8;

// The value of each text, and the number of characters read: "-31:6 15:3".
template <class Function>
std::string numbers_in(std::initializer_list<test::Wide> texts, Function read)
{
    std::ostringstream result;
    for (const test::Wide& text : texts)
    {
        wchar_t* end = nullptr;
        result << (result.tellp() > 0 ? " " : "") << read(text, &end);
        result << ':' << end - text.c_str();
    }
    return result.str();
}

TEST(WideNumber, IntegersSaturateAndEndAtTheFirstOtherCharacter)
{
    // Pasted numbers may have spaces of all kinds before them; digits of other scripts don't count.
    EXPECT_EQ(
        (std::vector{_wtoi(L" \t-12)"), _wtoi(L"+7"), _wtoi(L"- 7"), _wtoi(L""), _wtoi(L"0x10"),
                     _wtoi(L"\xA0\x2003\x202F\x3000\x85-5"), _wtoi(L"\x200B 5"), _wtoi(L"\x661"),
                     _wtoi(L"99999999999999999999999"), _wtoi(L"-2147483649")}),
        (std::vector{-12, 7, 0, 0, 0, -5, 0, 0, INT_MAX, INT_MIN}));
    EXPECT_EQ(_wtoi64(L"9223372036854775808"), LLONG_MAX);
}

TEST(WideNumber, IntegersOfAnyRadixAreReadAndShown)
{
    const auto read = [](const wchar_t* text, wchar_t** end) { return wcstol(text, end, 0); };
    EXPECT_EQ(numbers_in({" -0x1Fg", "017", "0xg"}, read), "-31:6 15:3 0:1");
    wchar_t buffer[40];
    EXPECT_EQ(utf8(_itow(INT_MIN, buffer, 10)), "-2147483648");
    EXPECT_EQ(utf8(_itow(35, buffer, 36)), "z");
}

TEST(WideNumber, DoublesTakeWhatBelongsToTheNumber)
{
    EXPECT_EQ(numbers_in({" \t-.5e1x", "1,5", "1e+", "0x1.8p1", "-infinity", "NaN", "1e400", "-."},
                         wcstod),
              "-5:7 1:1 1:1 3:7 -inf:9 nan:3 inf:5 0:0");
    // Longer than the buffer on the stack; the last digit decides the rounding of a tie.
    const std::string tie = "9007199254740993." + std::string(3000, '0');
    EXPECT_EQ(wcstod(test::Wide(tie), nullptr), 9007199254740992.);
    EXPECT_EQ(wcstod(test::Wide(tie + "1"), nullptr), 9007199254740994.);
}

// The application may set a locale of the C library.
TEST(WideNumber, KeepsItsDotInEachLocaleOfTheApplication)
{
    test::needs_locale("de_DE.UTF-8");
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    wchar_t text[32];
    _snwprintf(text, 32, L"%.2f", 1.5);
    EXPECT_EQ(utf8(text), "1.50");
    EXPECT_EQ(wcstod(L"2.25", nullptr), 2.25);
    std::setlocale(LC_ALL, "C");
}

TEST(WideScan, ReturnsTheFieldsReadOrMinusOneAtTheEnd)
{
    int a = 0;
    int b = 0;
    EXPECT_EQ((std::vector{swscanf(L"12 x", L"%d %d", &a, &b), swscanf(L"12", L"%d %d", &a, &b),
                           swscanf(L"x", L"%d", &a), swscanf(L"  ", L"%d", &a),
                           swscanf(L"?:\\pagefile.sys", L"%*s %*u %d", &a),
                           swscanf(L"C:\\pagefile.sys 16 4096", L"%*s %*u %d", &a)}),
              (std::vector{1, 1, 0, -1, -1, 1}));
    EXPECT_EQ(a, 4096);
    wchar_t rest[8] = L"";
    EXPECT_EQ(swscanf(L"12 ab", L"%d%n%ls", &a, &b, rest), 2);
    EXPECT_EQ(b, 2);
}

TEST(WideScan, IntegersHaveTheirSizes)
{
    int guarded[2] = {0, 77}; // l is 32 bits
    long long big = 0;
    unsigned hex = 0;
    EXPECT_EQ(swscanf(L"-3 -123456789012 fF", L"%ld%I64d%x", guarded, &big, &hex), 3);
    EXPECT_EQ(std::tuple(guarded[0], guarded[1], big, hex),
              std::tuple(-3, 77, -123456789012, 255u));
}

TEST(WideScan, WidthsBoundNumbersAndTexts)
{
    int a = 0;
    int b = 0;
    wchar_t text[4];
    double d = 0;
    float f = 0;
    char bytes[8] = "#######";
    EXPECT_EQ(swscanf(L"20240131", L"%4d%2d", &a, &b), 2);
    EXPECT_EQ(swscanf(L"abcdef", L"%3s", text), 1);
    EXPECT_EQ(swscanf(L"1.259.5", L"%4lf%f", &d, &f), 2);
    EXPECT_EQ(std::tuple(a, b, d, f, utf8(text)), std::tuple(2024, 1, 1.25, 9.5f, "abc"));
    EXPECT_EQ(swscanf(L"\x20AC\x20AC\x20AC", L"%4hs", bytes), 1);
    EXPECT_STREQ(bytes, "\u20AC") << "the width of a narrow text is in bytes";
    EXPECT_EQ(bytes[4], '#');
}

// ---- the control word

// At first all exceptions are masked, and reading changes nothing.
TEST(FloatControl, EachBitIsThatExceptionsMaskAndRoundingAndOtherThreadsAreLeftAlone)
{
    EXPECT_EQ(_control87(0, 0), unsigned{_MCW_EM});
    std::fesetround(FE_UPWARD);
    const std::pair<unsigned, int> rows[] = {
        {_EM_INVALID, FE_INVALID}, {_EM_ZERODIVIDE, FE_DIVBYZERO}, {_EM_INEXACT, FE_INEXACT}};
    for (const auto& [mask, exception] : rows)
    {
        SCOPED_TRACE(mask);
        EXPECT_EQ(_controlfp(0, mask | 0x300), _MCW_EM & ~mask);
        EXPECT_EQ(fegetexcept(), exception);
        EXPECT_EQ(_control87(mask, mask), unsigned{_MCW_EM});
        EXPECT_EQ(fegetexcept(), 0);
    }
    EXPECT_EQ(std::fegetround(), FE_UPWARD);
    std::fesetround(FE_TONEAREST);
    std::thread([] { _control87(0, _EM_ZERODIVIDE); }).join();
    EXPECT_EQ(_control87(_MCW_EM, _MCW_EM), unsigned{_MCW_EM});
}

} // namespace
