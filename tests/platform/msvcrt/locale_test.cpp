// The application may choose a locale for the C library; the 16-bit runtime's numbers keep their
// dot.
#include <clocale>
#include <cstdio>

#include <gtest/gtest.h>

#include <tchar.h>
#include <windows.h>

#include "support/needs.h"
#include "support/wide_text.h"

namespace
{

TEST(Locale, NumbersKeepTheirDotWhateverTheApplicationHasChosen)
{
    test::needs_locale("de_DE.UTF-8");
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    char by_c_library[16];
    std::snprintf(by_c_library, sizeof by_c_library, "%.1f", 1.5);
    ASSERT_STREQ(by_c_library, "1,5");

    wchar_t text[32];
    double value = 0;
    _snwprintf(text, 32, L"%.2f %#.0f %.1e", 1.5, 2.0, 2.5);
    EXPECT_EQ(test::utf8(text), "1.50 2. 2.5e+00");
    EXPECT_EQ(wcstod(L"2.25", nullptr), 2.25);
    EXPECT_EQ(wcstod(L"2,25", nullptr), 2);
    EXPECT_EQ(swscanf(L"3.75", L"%lf", &value), 1);
    EXPECT_EQ(value, 3.75);
}

} // namespace
