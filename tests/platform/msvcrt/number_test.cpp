// Numbers in 16-bit text; swscanf, which reads them by the same parser; and the floating-point
// control word, read by the C library's own functions beside.
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

// The value of each text, and how many characters were taken: "-31:6 15:3".
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

std::string integer_in(const wchar_t* text, int radix)
{
    return numbers_in({text},
                      [=](const wchar_t* t, wchar_t** end) { return wcstol(t, end, radix); });
}

TEST(WideNumber, IntegersSaturateAndEndAtTheFirstOtherCharacter)
{
    // The sixth: digits of other scripts are none.
    EXPECT_EQ(
        (std::vector{_wtoi(L" \t-12)"), _wtoi(L"+7"), _wtoi(L"- 7"), _wtoi(L""), _wtoi(L"0x10"),
                     _wtoi(L"\x661"), _wtoi(L"99999999999999999999999"), _wtoi(L"-2147483649")}),
        (std::vector{-12, 7, 0, 0, 0, 0, INT_MAX, INT_MIN}));
    EXPECT_EQ(_wtoi64(L"-9223372036854775808"), LLONG_MIN);
    EXPECT_EQ(_wtoi64(L"9223372036854775808"), LLONG_MAX);
    errno = 0;
    EXPECT_EQ(wcstoul(L"4294967295", nullptr, 10), UINT_MAX);
    EXPECT_EQ(wcstoul(L"-1", nullptr, 10), UINT_MAX);
    EXPECT_EQ(errno, 0);
    EXPECT_EQ(wcstoul(L"4294967296", nullptr, 10), UINT_MAX);
    EXPECT_EQ(errno, ERANGE);
}

TEST(WideNumber, IntegersOfAnyRadixAreReadAndShown)
{
    EXPECT_EQ(integer_in(L" -0x1Fg", 0), "-31:6");
    EXPECT_EQ(integer_in(L"017", 0), "15:3");
    EXPECT_EQ(integer_in(L"zz", 36), "1295:2");
    EXPECT_EQ(integer_in(L"0xg", 16), "0:1") << "the x belongs to no number";
    for (const int radix : {-1, 1, 37})
    {
        errno = 0;
        EXPECT_EQ(integer_in(L"123", radix), "0:0") << radix;
        EXPECT_EQ(errno, EINVAL) << radix;
    }
    wchar_t buffer[40];
    EXPECT_EQ(utf8(_itow(INT_MIN, buffer, 10)), "-2147483648");
    EXPECT_EQ(utf8(_itow(-1, buffer, 2)), std::string(32, '1'));
    EXPECT_EQ(utf8(_itow(35, buffer, 36)), "z");
    EXPECT_EQ(utf8(_itow(5, buffer, 1)), "");
}

TEST(WideNumber, DoublesTakeWhatBelongsToTheNumber)
{
    EXPECT_EQ(numbers_in({"1.5", " \t-.5e1x", "5.", "1,5", "1e", "1e+", "1e-2.5", "0x1.8p1", "0xz",
                          "-infinity", "NaN", "1e400", "1e-400", "4.9406564584124654e-324"},
                         wcstod),
              "1.5:3 -5:7 5:2 1:1 1:1 1:1 0.01:4 3:7 0:1 -inf:9 nan:3 inf:5 0:6 4.94066e-324:23");
    EXPECT_EQ(numbers_in({"", "-.", "e5", " \u0661"}, wcstod), "0:0 0:0 0:0 0:0");
    // Beyond the stack's buffer; the last digit decides the rounding of a tie.
    const std::string tie = "9007199254740993." + std::string(3000, '0');
    EXPECT_EQ(wcstod(test::Wide(tie), nullptr), 9007199254740992.);
    EXPECT_EQ(wcstod(test::Wide(tie + "1"), nullptr), 9007199254740994.);
}

// The application may choose a locale for the C library.
TEST(WideNumber, KeepsItsDotInEachLocaleOfTheApplication)
{
    test::needs_locale("de_DE.UTF-8");
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    wchar_t text[32];
    double value = 0;
    _snwprintf(text, 32, L"%.2f %#.0f %.1e", 1.5, 2.0, 2.5);
    EXPECT_EQ(utf8(text), "1.50 2. 2.5e+00");
    EXPECT_EQ(numbers_in({"2.25", "2,25"}, wcstod), "2.25:4 2:1");
    EXPECT_EQ(swscanf(L"3.75", L"%lf", &value), 1);
    EXPECT_EQ(value, 3.75);
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
}

TEST(WideScan, IntegersOfAllSizes)
{
    signed char c = 0;
    short h = 0;
    int guarded[2] = {0, 77};
    long long q = 0;
    unsigned x = 0;
    int i = 0;
    EXPECT_EQ(swscanf(L"-1 -2 -3 -123456789012 fF 0x1f 17", L"%hhd%hd%ld%I64d%x%i%o", &c, &h,
                      guarded, &q, &x, &i, &guarded[1]),
              7);
    EXPECT_EQ(std::tuple(c, h, guarded[0], q, x, i, guarded[1]),
              std::tuple(-1, -2, -3, -123456789012, 255u, 31, 15));
    EXPECT_EQ(swscanf(L"5", L"%ld", guarded), 1);
    EXPECT_EQ(guarded[1], 15) << "l is 32 bits";
    EXPECT_EQ(swscanf(L"99999999999", L"%lld", &q), 1);
    EXPECT_EQ(q, 99999999999);
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
    EXPECT_EQ(swscanf(L"-5", L"%1d", &a), 0);
    EXPECT_EQ(swscanf(L"\x20AC\x20AC\x20AC", L"%4hs", bytes), 1);
    EXPECT_STREQ(bytes, "\u20AC") << "the width of a narrow text is in bytes";
    EXPECT_EQ(bytes[4], '#');
    EXPECT_EQ(swscanf(L"name", L"%S", bytes), 1);
    EXPECT_STREQ(bytes, "name");
}

TEST(WideScan, CharactersSetsAndPositions)
{
    wchar_t c[2] = {};
    wchar_t set[8];
    wchar_t rest[8];
    int at = 0;
    EXPECT_EQ(swscanf(L" xab-3]z", L"%c%1c%[a-c-]%[]0-9]%n%ls", c, c + 1, set, rest, &at, rest), 5);
    EXPECT_EQ(std::tuple(utf8(c, 2), utf8(set), at, utf8(rest)), std::tuple(" x", "ab-", 7, "z"));
    EXPECT_EQ(swscanf(L"key=value", L"%[^=]=%s", set, rest), 2);
    EXPECT_EQ(std::tuple(utf8(set), utf8(rest)), std::tuple("key", "value"));
    EXPECT_EQ(swscanf(L"50%", L"%d%%%n", &at, &at), 1);
    EXPECT_EQ(at, 3);
}

// ---- the control word

// All are masked at first, and reading changes nothing.
TEST(FloatControl, EachBitIsThatExceptionsMaskAndRoundingAndOtherThreadsAreLeftAlone)
{
    EXPECT_EQ(_control87(0, 0), unsigned{_MCW_EM});
    std::fesetround(FE_UPWARD);
    const std::pair<unsigned, int> rows[] = {{_EM_INVALID, FE_INVALID},
                                             {_EM_ZERODIVIDE, FE_DIVBYZERO},
                                             {_EM_OVERFLOW, FE_OVERFLOW},
                                             {_EM_UNDERFLOW, FE_UNDERFLOW},
                                             {_EM_INEXACT, FE_INEXACT}};
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
#if defined(__x86_64__)
    // Only the older call reaches the mask for denormal operands.
    EXPECT_EQ(_controlfp(0, _EM_DENORMAL), unsigned{_MCW_EM});
    EXPECT_EQ(_control87(0, _EM_DENORMAL), _MCW_EM & ~unsigned{_EM_DENORMAL});
    EXPECT_EQ(_controlfp(_MCW_EM, _MCW_EM), _MCW_EM & ~unsigned{_EM_DENORMAL});
#endif
    EXPECT_EQ(_control87(_MCW_EM, _MCW_EM), unsigned{_MCW_EM});
}

} // namespace
