// Numbers in the user's form, in real locales.
#include <tuple>

#include "support/test.h"

#include <plinth_w32_system.h>

#include "support/user_locale.h"

namespace
{

using test::set_locale;
using test::set_user_text;
using test::utf8;

std::string formatted(double value, int decimals, bool trim = true, int least = 0)
{
    wchar_t text[512];
    return QV_DoubleToStringEx(value, decimals, text, 512, trim, true, least) ? utf8(text)
                                                                              : "<false>";
}

TEST(NumberTextInLocale, HasTheUsersDecimalSeparatorAndKeepsDecimalsThatAreZeroAsAsked)
{
    set_locale("de_DE.UTF-8");
    static constexpr std::tuple<double, int, int, const char*> rows[] = {
        {100.0, 2, 0, "100"}, {1234567.5, 1, 0, "1234567,5"}, {-0.0004, 2, 0, "-0,0004"},
        {2.5, 3, 2, "2,50"},  {2.5, 3, 5, "2,50000"},         {7, 2, 1, "7,0"}};
    for (const auto& [value, decimals, least, text] : rows)
        EXPECT_EQ(formatted(value, decimals, true, least), text) << value << ", " << decimals;
    EXPECT_EQ(formatted(7, 2, false), "7,00");
    EXPECT_EQ(formatted(1e308, 2).size(), 309u);
}

TEST(NumberTextInLocale, EveryLocaleReadsWhatItWrites)
{
    for (const char* locale : {"de_DE.UTF-8", "en_US.UTF-8", "fr_FR.UTF-8", "ar_SA.UTF-8",
                               "ja_JP.UTF-8", "hi_IN", "sv_SE.UTF-8", "ps_AF", "C"})
    {
        set_locale(locale);
        for (const double value : {3.25, -0.5, 1234567.75, -1e15, 0.0004})
        {
            wchar_t text[64];
            ASSERT_TRUE(QV_DoubleToString(value, 4, text, 64));
            double back = 0;
            EXPECT_TRUE(QV_StringToDouble(text, &back)) << locale << ' ' << utf8(text);
            EXPECT_EQ(back, value) << locale << ' ' << utf8(text);
        }
    }
}

TEST(NumberTextInLocale, ReadsSeparatorAndDotAlike)
{
    const auto read = [](const wchar_t* text)
    {
        double value = -1;
        return QV_StringToDouble(text, &value) ? value : -2;
    };
    set_locale("de_DE.UTF-8");
    for (const wchar_t* const text : {L"1,5", L"1.5", L"1,5,7"})
        EXPECT_EQ(read(text), 1.5) << utf8(text);
    for (const wchar_t* const text : {L"abc", L"", L","})
        EXPECT_EQ(read(text), -2) << utf8(text);
    // Longer than any copy on the stack.
    EXPECT_EQ(read(test::Wide(std::string(10'000, '0') + "2,5")), 2.5);
    set_locale("en_US.UTF-8");
    EXPECT_EQ(read(L"1,5"), 1);
}

TEST(NumberTextInLocale, TheNegativeFormIsTheUsers)
{
    set_locale("de_DE.UTF-8");
    for (const auto& [order, form] :
         {std::pair{"4", "0,0004 -"}, {"3", "0,0004-"}, {"2", "- 0,0004"}, {"0", "(0,0004)"}})
    {
        set_user_text(L"iNegNumber", order);
        EXPECT_EQ(formatted(-0.0004, 2), form);
    }
}

TEST(NumberTextInLocale, FormThatDoesNotFitLeavesThePlainNumber)
{
    set_locale("de_DE.UTF-8");
    set_user_text(L"iNegNumber", "0");
    for (const auto& [size, shown] : {std::pair{5, "-2.5"}, {6, "(2,5)"}})
    {
        std::vector<wchar_t> text(static_cast<size_t>(size), L'#');
        EXPECT_TRUE(QV_DoubleToString(-2.5, 1, text.data(), size));
        EXPECT_EQ(utf8(text.data()), shown);
    }
    // Longer than the library's own buffer.
    std::vector<wchar_t> text(2000, L'#');
    EXPECT_TRUE(QV_DoubleToStringEx(-2.5, 1, text.data(), 2000, true, true, 1500));
    EXPECT_EQ(wcslen32(text.data()), 1504u);
}

} // namespace
