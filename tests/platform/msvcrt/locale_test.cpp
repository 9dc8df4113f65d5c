// The application may choose a locale for the C library; the 16-bit runtime's numbers keep their
// dot. The locale is made for the test, as few systems have one with a comma ready.
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include <tchar.h>
#include <windows.h>

#include "support/environment.h"

namespace
{

TEST(Locale, NumbersKeepTheirDotWhateverTheApplicationHasChosen)
{
    const std::string folder = test::make_folder("locales");
    const std::string command =
        "localedef -i de_DE -f UTF-8 --no-archive '" + folder + "/de_DE.UTF-8' >&2";
    ASSERT_EQ(setenv("LOCPATH", folder.c_str(), 1), 0);
    ASSERT_EQ(std::system(command.c_str()), 0) << "the package locales is missing";
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
