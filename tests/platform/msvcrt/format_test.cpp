// The formatter of both families. Digits of floating-point numbers are compared with the C
// library's, everything else with what callers of the runtime expect.
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <limits>
#include <random>

#include "support/test.h"

#include <tchar.h>

#include "support/wide_text.h"

namespace
{

std::string wide(const wchar_t* format, ...)
{
    wchar_t buffer[4096];
    va_list arguments;
    va_start(arguments, format);
    const int length = _vsnwprintf(buffer, 4096, format, arguments);
    va_end(arguments);
    return length < 0 ? "too long" : test::utf8(buffer, static_cast<size_t>(length));
}

std::string narrow(const char* format, ...)
{
    char buffer[4096];
    va_list arguments;
    va_start(arguments, format);
    const int length = _vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    return length < 0 ? "too long" : std::string(buffer, static_cast<size_t>(length));
}

TEST(Format, TextsAndCharactersHaveTheWidthOfTheFamilyUnlessTold)
{
    EXPECT_EQ(
        wide(L"%s|%S|%hs|%ls|%ws|%hS|%lS", L"w\x20AC", "n\u20AC", "h", L"l", L"x", "hS", L"lS"),
        "w\u20AC|n\u20AC|h|l|x|hS|lS");
    EXPECT_EQ(
        narrow("%s|%S|%hs|%ls|%ws|%hS|%lS", "n\u20AC", L"w\x20AC", "h", L"l", L"x", "hS", L"lS"),
        "n\u20AC|w\u20AC|h|l|x|hS|lS");
    EXPECT_EQ(wide(L"%c%C%hc%lc%3c%-3c|", 0x20AC, 'n', 'h', 0xE9, 'r', 'l'),
              "\u20ACnh\u00E9  rl  |");
    EXPECT_EQ(wide(L"%hc", 0xE9), "\uFFFD") << "half a character of the code page";
    EXPECT_EQ(narrow("<%C%c>", 0, 0), std::string("<\0\0>", 4));
    const wchar_t* const none = nullptr;
    EXPECT_EQ(wide(L"%s %hs %.3s %8s", none, none, none, none), "(null) (null) (nu   (null)");
}

TEST(Format, PrecisionBoundsWhatIsReadOfATextAndSplitsNoCharacter)
{
    const wchar_t unterminated[] = {L'a', L'b', L'c'};
    const char bytes[] = {'x', 'y', 'z'};
    EXPECT_EQ(
        wide(L"[%.3s][%.2s][%-5.1s][%.*hs]", unterminated, unterminated, unterminated, 3, bytes),
        "[abc][ab][a    ][xyz]");
    EXPECT_EQ(wide(L"[%.3hs][%.4hs]", "\u00E4\u00F6", "\u00E4\u00F6"), "[\u00E4][\u00E4\u00F6]");
    EXPECT_EQ(narrow("[%.2ls][%.3ls]", L"a\xD83D\xDE00", L"a\xD83D\xDE00"), "[a][a\U0001F600]");
}

TEST(Format, BadTextOfTheOtherWidthIsReplaced)
{
    EXPECT_EQ(wide(L"%hs", "a\xFF\xE2\x82z"), "a\uFFFD\uFFFDz");
    EXPECT_EQ(narrow("%ls", L"a\xD800z\xDC00"), "a\uFFFDz\uFFFD");
    // More stray bytes than one step of the conversion takes.
    const std::string stray(200, '\x80');
    EXPECT_EQ(wide(L"%hs", stray.c_str()), test::Wide(200, 0xFFFD).utf8());
}

TEST(Format, LongTextsOfTheOtherWidthStayWholeAtEveryAlignment)
{
    for (size_t lead = 0; lead < 70; ++lead)
    {
        std::string text(lead, 'x');
        for (int i = 0; i < 60; ++i)
            text += i % 2 ? "\U0001F600" : "\u20AC";
        EXPECT_EQ(wide(L"%hs", text.c_str()), text);
        EXPECT_EQ(narrow("%ls", test::Wide(text).c_str()), text);
    }
}

TEST(Format, IntegersHaveTheSizesOfTheSystem)
{
    const long long big = -0x123456789ALL;
    EXPECT_EQ(wide(L"%I64d %lld %Id %jd", big, big, big, big),
              "-78187493530 -78187493530 -78187493530 -78187493530");
    // l and I32 take 32 bits: if one took more, the next argument would be wrong.
    EXPECT_EQ(wide(L"%lx %I32x %ld", 0xFFFFFFFFu, 0x80000000u, -1), "ffffffff 80000000 -1");
    EXPECT_EQ(wide(L"%hd %hu %hhd %hhu", 0x18000, 0x1FFFF, 0x180, 0x1FF), "-32768 65535 -128 255");
    EXPECT_EQ(wide(L"%d%d %d", INT_MIN, INT_MAX, 0), "-21474836482147483647 0");
    EXPECT_EQ(wide(L"%zu %td %Iu", ~size_t{0}, ptrdiff_t{-2}, ~size_t{0}),
              "18446744073709551615 -2 18446744073709551615");
    EXPECT_EQ(wide(L"%p", reinterpret_cast<void*>(0xABCDEF)), "0000000000ABCDEF");
}

TEST(Format, IntegerFlags)
{
    EXPECT_EQ(wide(L"[%5d][%-5d][%05d][%+d][% d][%-05d]", 42, 42, 42, 42, 42, 42),
              "[   42][42   ][00042][+42][ 42][42   ]");
    EXPECT_EQ(wide(L"[%05d][%8.3d][%08.3d][%.0d][%+.0d]", -42, -7, -7, 0, 0),
              "[-0042][    -007][    -007][][+]");
    EXPECT_EQ(wide(L"%#x %#X %#x %#o %#.0o %#010x", 255, 255, 0, 8, 0, 255),
              "0xff 0XFF 0 010 0 0x000000ff");
    EXPECT_EQ(wide(L"[%*d][%*d][%.*d][%.*d]", 5, 1, -5, 2, 3, 3, -1, 4), "[    1][2    ][003][4]");
}

TEST(Format, WhatIsNoDirectiveIsText)
{
    EXPECT_EQ(wide(L"100%% %y %5%"), "100% y %");
    EXPECT_EQ(wide(L"end %"), "end ");
    EXPECT_EQ(wide(L"end %-08.3I64"), "end ");
    int count = 77;
    EXPECT_EQ(wide(L"abc%n%d", &count, 5), "abc5") << "a count is not written";
    EXPECT_EQ(count, 77);
}

TEST(Format, FloatingPointDigitsAreTheCLibrarys)
{
    std::vector<double> values = {-0.0, 1.0, 0.1, 2.5, 999999, 1e22, DBL_MAX, -1e-300, 5e-324};
    std::mt19937_64 random(1);
    for (int i = 0; i < 300; ++i)
    {
        const uint64_t bits = random();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        if (std::isfinite(value))
            values.push_back(value);
        // Ordinary numbers: ties and their neighbours, few decimals, and numbers up to and beyond
        // the range of the quick method.
        const double tie = static_cast<double>(bits % 20'000) / 8;
        values.insert(values.end(), {tie, std::nextafter(tie, 0), std::nextafter(tie, 1e9),
                                     static_cast<double>(bits % 1'000'000) / 1000,
                                     std::ldexp(static_cast<double>(bits >> 30), -i % 40),
                                     1e8 + static_cast<double>(i - 150) / 200});
    }
    for (const char* directive :
         {"%f",      "%.2f",    "%#.0f",    "%.1f",  "%e",     "%g",      "%E",
          "%.0f",    "%#.0e",   "%#.3G",    "%+.3f", "% .10e", "%020.3f", "%-20.3g|",
          "%.1074f", "%.1300e", "%#.1300g", "%.13a", "%#.0A",  "%+030.3a"})
        for (double value : values)
        {
            if (std::fpclassify(value) == FP_SUBNORMAL && std::strpbrk(directive, "aA"))
                continue; // several results are right
            char expected[4096];
            std::snprintf(expected, sizeof expected, directive, value);
            EXPECT_EQ(narrow(directive, value), expected) << directive;
        }
    // Where rounding increases the exponent, the C library loses the zeros of "%#g".
    EXPECT_EQ(wide(L"%#g %#g %#g", 999999.5, 0.00009999995, 0.0),
              "1.00000e+06 0.000100000 0.00000");
    EXPECT_EQ(wide(L"%a", 3.0), "0x1.8000000000000p+1");
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(wide(L"[%06f][%+F][%-6g][%#.2000e]", infinity, -infinity, infinity, infinity),
              "[   inf][-INF][inf   ][inf]");
    EXPECT_EQ(wide(L"%g", std::fabs(std::numeric_limits<double>::quiet_NaN())), "nan");
}

TEST(Format, AResultThatJustFitsHasNoTerminatorAndOneThatDoesNotIsCut)
{
    wchar_t buffer[8] = L"#######";
    EXPECT_EQ(_snwprintf(buffer, 3, L"%d", 123), 3);
    EXPECT_EQ(test::utf8(buffer), "123####");
    EXPECT_EQ(_snwprintf(buffer, 4, L"%d", 123), 3);
    EXPECT_EQ(test::utf8(buffer), "123");
    EXPECT_EQ(_snwprintf(buffer, 3, L"%d", 45678), -1);
    EXPECT_EQ(test::utf8(buffer, 5), std::string("456\0#", 5));
    char bytes[8] = "#######";
    EXPECT_LT(_snprintf(bytes, 2, "%ls", L"\x20AC"), 0);
    EXPECT_EQ(bytes[2], '#') << "bytes of a character that is cut stay within the size";
    // No buffer and no size return the length.
    EXPECT_EQ(_snwprintf(nullptr, 0, L"%s-%d", L"abc", 10), 6);
}

TEST(Format, EnormousFieldsCostNothingBeyondTheBuffer)
{
    wchar_t buffer[16];
    EXPECT_LT(_snwprintf(buffer, 16, L"%2147483647d%99999999999999999999d", 1, 2), 0);
    EXPECT_LT(_snwprintf(buffer, 16, L"%.2147483647f", 1.0), 0);
    EXPECT_LT(_snwprintf(buffer, 16, L"%.*e%*d", INT_MAX, 1.0, INT_MIN, 3), 0);
    EXPECT_EQ(_snwprintf(nullptr, 0, L"%99999999d%99999999d", 1, 2), 199'999'998);
}

} // namespace
