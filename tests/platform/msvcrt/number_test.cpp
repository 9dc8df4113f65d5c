// Numbers in 16-bit text, and swscanf, which reads them by the same parser.
#include <cerrno>
#include <cfloat>
#include <climits>
#include <cmath>

#include <gtest/gtest.h>

#include <tchar.h>
#include <windows.h>

#include "support/wide_text.h"

namespace
{

using test::utf8;

// The value, and how many characters were taken.
std::pair<double, ptrdiff_t> read_double(const test::Wide& text)
{
    wchar_t* end = nullptr;
    const double value = wcstod(text, &end);
    return {value, end - text.c_str()};
}

using Read = std::pair<double, ptrdiff_t>;

TEST(WideNumber, ItowShowsBitsInAllRadixesButTen)
{
    wchar_t buffer[40];
    EXPECT_EQ(utf8(_itow(INT_MIN, buffer, 10)), "-2147483648");
    EXPECT_EQ(utf8(_itow(-1, buffer, 2)), std::string(32, '1'));
    EXPECT_EQ(utf8(_itow(-1, buffer, 16)), "ffffffff");
    EXPECT_EQ(utf8(_itow(35, buffer, 36)), "z");
    EXPECT_EQ(utf8(_itow(0, buffer, 10)), "0");
    EXPECT_EQ(utf8(_itow(5, buffer, 1)), "");
}

TEST(WideNumber, WtoiReadsUpToTheFirstOtherCharacter)
{
    EXPECT_EQ(_wtoi(L" \t-12)"), -12);
    EXPECT_EQ(_wtoi(L"+7"), 7);
    EXPECT_EQ(_wtoi(L"- 7"), 0);
    EXPECT_EQ(_wtoi(L""), 0);
    EXPECT_EQ(_wtoi(L"0x10"), 0);
    EXPECT_EQ(_wtoi(L"\x661"), 0) << "digits of other scripts are none";
    EXPECT_EQ(_wtoi(L"99999999999999999999999"), INT_MAX);
    EXPECT_EQ(_wtoi(L"-2147483649"), INT_MIN);
    EXPECT_EQ(_wtoi64(L"-9223372036854775808"), LLONG_MIN);
    EXPECT_EQ(_wtoi64(L"9223372036854775808"), LLONG_MAX);
}

TEST(WideNumber, IntegersOfAnyRadix)
{
    wchar_t* end = nullptr;
    const wchar_t* const hex = L" -0x1Fg";
    EXPECT_EQ(wcstol(hex, &end, 0), -31);
    EXPECT_EQ(end, hex + 6);
    EXPECT_EQ(wcstol(L"017", nullptr, 0), 15);
    EXPECT_EQ(wcstol(L"zz", nullptr, 36), 35 * 37);
    const wchar_t* const bare = L"0xg";
    EXPECT_EQ(wcstol(bare, &end, 16), 0);
    EXPECT_EQ(end, bare + 1) << "the x belongs to no number";
    EXPECT_EQ(wcstoul(L"4294967295", nullptr, 10), UINT_MAX);
    EXPECT_EQ(wcstoul(L"-1", nullptr, 10), UINT_MAX);
    errno = 0;
    EXPECT_EQ(wcstoul(L"4294967296", nullptr, 10), UINT_MAX);
    EXPECT_EQ(errno, ERANGE);
    const wchar_t* const none = L"  none";
    EXPECT_EQ(wcstol(none, &end, 10), 0);
    EXPECT_EQ(end, none);
}

TEST(WideNumber, ARadixThatIsNoneReadsNothing)
{
    for (const int radix : {-1, 1, 37})
    {
        const wchar_t* const text = L"123";
        wchar_t* end = nullptr;
        errno = 0;
        EXPECT_EQ(wcstol(text, &end, radix), 0);
        EXPECT_EQ(end, text);
        EXPECT_EQ(errno, EINVAL);
    }
}

TEST(WideNumber, DoublesTakeWhatBelongsToTheNumber)
{
    EXPECT_EQ(read_double("1.5"), Read(1.5, 3));
    EXPECT_EQ(read_double(" \t-.5e1x"), Read(-5, 7));
    EXPECT_EQ(read_double("5."), Read(5, 2));
    EXPECT_EQ(read_double("1,5"), Read(1, 1));
    EXPECT_EQ(read_double("1e"), Read(1, 1));
    EXPECT_EQ(read_double("1e+"), Read(1, 1));
    EXPECT_EQ(read_double("1e-2.5"), Read(0.01, 4));
    EXPECT_EQ(read_double("0x1.8p1"), Read(3, 7));
    EXPECT_EQ(read_double("0xz"), Read(0, 1));
    for (const char* none : {"", ".", "+", "-.", "e5", "abc", " \u0661"})
        EXPECT_EQ(read_double(none), Read(0, 0)) << none;
    EXPECT_TRUE(std::isinf(wcstod(L"-infinity", nullptr)));
    EXPECT_TRUE(std::isnan(wcstod(L"NaN", nullptr)));
    EXPECT_EQ(wcstod(L"1e400", nullptr), HUGE_VAL);
    EXPECT_EQ(wcstod(L"1e-400", nullptr), 0);
    EXPECT_EQ(wcstod(L"4.9406564584124654e-324", nullptr), 5e-324);
}

TEST(WideNumber, DoublesOfManyDigitsAreExact)
{
    // Beyond the stack's buffer; the last digit decides the rounding of a tie.
    const std::string tie = "9007199254740993." + std::string(3000, '0');
    EXPECT_EQ(read_double(tie), Read(9007199254740992., 3017));
    EXPECT_EQ(read_double(tie + "1"), Read(9007199254740994., 3018));
    EXPECT_EQ(read_double(std::string(5000, '0') + "7"), Read(7, 5001));
}

TEST(WideScan, GivesTheFieldsReadOrMinusOneAtTheEnd)
{
    int a = 0;
    int b = 0;
    double d = 0;
    EXPECT_EQ(swscanf(L"12 34", L"%d %d", &a, &b), 2);
    EXPECT_EQ(swscanf(L"12 x", L"%d %d", &a, &b), 1);
    EXPECT_EQ(swscanf(L"12", L"%d %d", &a, &b), 1);
    EXPECT_EQ(swscanf(L"x", L"%d", &a), 0);
    EXPECT_EQ(swscanf(L"", L"%d", &a), -1);
    EXPECT_EQ(swscanf(L"  ", L"%lf", &d), -1);
    EXPECT_EQ(swscanf(L"1.25e2", L"%lf", &d), 1);
    EXPECT_EQ(d, 125);
}

TEST(WideScan, SkipsFields)
{
    unsigned maximum = 0;
    EXPECT_EQ(swscanf(L"C:\\pagefile.sys 16 4096", L"%*s %*u %u", &maximum), 1);
    EXPECT_EQ(maximum, 4096u);
    EXPECT_EQ(swscanf(L"?:\\pagefile.sys", L"%*s %*u %u", &maximum), -1);
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
    EXPECT_EQ(c, -1);
    EXPECT_EQ(h, -2);
    EXPECT_EQ(guarded[0], -3) << "l is 32 bits";
    EXPECT_EQ(guarded[1], 15);
    EXPECT_EQ(q, -123456789012);
    EXPECT_EQ(x, 255u);
    EXPECT_EQ(i, 31);
    EXPECT_EQ(swscanf(L"5", L"%ld", guarded), 1);
    EXPECT_EQ(guarded[1], 15);
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
    EXPECT_EQ(swscanf(L"20240131", L"%4d%2d", &a, &b), 2);
    EXPECT_EQ(a, 2024);
    EXPECT_EQ(b, 1);
    EXPECT_EQ(swscanf(L"abcdef", L"%3s", text), 1);
    EXPECT_EQ(utf8(text), "abc");
    EXPECT_EQ(swscanf(L"1.259.5", L"%4lf%f", &d, &f), 2);
    EXPECT_EQ(d, 1.25);
    EXPECT_EQ(f, 9.5f);
    EXPECT_EQ(swscanf(L"-5", L"%1d", &a), 0);
}

TEST(WideScan, NarrowTextsKeepToTheWidthInBytes)
{
    char bytes[8] = "#######";
    EXPECT_EQ(swscanf(L"\x20AC\x20AC\x20AC", L"%4hs", bytes), 1);
    EXPECT_STREQ(bytes, "\u20AC");
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
    EXPECT_EQ(utf8(c, 2), " x");
    EXPECT_EQ(utf8(set), "ab-");
    EXPECT_EQ(at, 7);
    EXPECT_EQ(utf8(rest), "z");
    EXPECT_EQ(swscanf(L"key=value", L"%[^=]=%s", set, rest), 2);
    EXPECT_EQ(utf8(set), "key");
    EXPECT_EQ(utf8(rest), "value");
    EXPECT_EQ(swscanf(L"50%", L"%d%%%n", &at, &at), 1);
    EXPECT_EQ(at, 3);
}

} // namespace
