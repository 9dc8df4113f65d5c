// The three forms of the user's date and time conventions, in real locales.

#include "support/test.h"

#include <plinth_w32_system.h>

#include "support/user_locale.h"

namespace
{

using test::set_locale;
using test::set_unknown_locale;
using test::set_user_text;
using test::utf8;

const SYSTEMTIME afternoon = {2024, 3, 2, 5, 15, 4, 9, 0};

// Each form as the calls write it.
struct Written
{
    wchar_t date[80] = L"", time[80] = L"";
    std::string text() const { return utf8(date) + "|" + utf8(time); }
};

std::string format_of_user()
{
    Written out;
    EXPECT_EQ(QV_GetLocaleDateTimeFormat(out.date, 80, out.time, 80), QV_OK);
    return out.text();
}

std::string mask_of_user()
{
    wchar_t mask[80];
    EXPECT_EQ(QV_GetLocaleUserDateTimeFormat(mask, 80), QV_OK);
    return utf8(mask);
}

TEST(LocaleFormatsOfUser, AreThoseOfTheCountry)
{
    static constexpr const char* rows[][4] = {
        {"C", "%m/%d/%Y|%H:%M:%S", "MM/DD/YYYY HH:MM:SS", "03/05/24|15:04:09"},
        {"de_DE.UTF-8", "%d.%m.%Y|%H:%M:%S", "DD.MM.YYYY HH:MM:SS", "05.03.2024|15:04:09"},
        {"en_US.UTF-8", "%m/%d/%Y|%I:%M:%S %p", "MM/DD/YYYY hh:MM:SS pm", "03/05/2024|03:04:09 PM"},
        {"ar_SA.UTF-8", "%d/%m/%Y|%H:%M:%S", "DD/MM/YYYY HH:MM:SS",
         "الثلاثاء 5 مارس 2024|15:04:09"},
        {"ja_JP.UTF-8", "%Y/%m/%d|%H:%M:%S", "YYYY/MM/DD HH:MM:SS", "2024年03月05日|15時04分09秒"},
        {"hi_IN", "%d/%m/%Y|%I:%M:%S %p", "DD/MM/YYYY hh:MM:SS pm", "5/3/24|03:04:09 अपराह्न"},
        {"no_SUCH", "%m/%d/%Y|%H:%M:%S", "MM/DD/YYYY HH:MM:SS", "03/05/24|15:04:09"}};
    for (const auto& [locale, format, mask, shown] : rows)
    {
        std::string(locale) == "no_SUCH" ? set_unknown_locale(locale) : set_locale(locale);
        EXPECT_EQ(format_of_user(), format) << locale;
        EXPECT_EQ(mask_of_user(), mask) << locale;
        Written out;
        EXPECT_EQ(QV_FormatLocaleDateTime(&afternoon, out.date, 80, out.time, 80), QV_OK) << locale;
        EXPECT_EQ(out.text(), shown) << locale;
    }
}

TEST(LocaleFormatsOfUser, MarkStandsWhereThePictureHasItAndPicturesComeAsTheyAre)
{
    set_locale("en_US.UTF-8");
    set_user_text(L"sTimeFormat", "tt hh:mm:ss");
    EXPECT_EQ(format_of_user(), "%m/%d/%Y|%p %I:%M:%S");
    EXPECT_EQ(mask_of_user(), "MM/DD/YYYY pm hh:MM:SS");
    set_user_text(L"sShortDate", "yyyy年MM月dd日");
    Written out;
    EXPECT_EQ(QV_GetLocaleShortDateTimeFormat(out.date, 80, nullptr, 0), QV_OK);
    EXPECT_EQ(QV_GetLocaleShortDateTimeFormat(nullptr, 0, out.time, 80), QV_OK);
    EXPECT_EQ(out.text(), "yyyy年MM月dd日|tt hh:mm:ss");
}

TEST(LocaleFormatsOfUser, TextsThatAreTooLongAreCut)
{
    set_locale("de_DE.UTF-8");
    wchar_t text[80];
    QV_GetLocaleDateTimeFormat(text, 8, nullptr, 0);
    EXPECT_EQ(utf8(text), "%d.%m.%") << "the format would fill eight exactly";
    QV_GetLocaleUserDateTimeFormat(text, 14);
    EXPECT_EQ(utf8(text), "DD.MM.YYYY HH");
    EXPECT_EQ(QV_FormatLocaleDateTime(&afternoon, text, 10, nullptr, 0), QV_ERR_SYSTEM);
    EXPECT_EQ(QV_FormatLocaleDateTime(&afternoon, text, 11, nullptr, 0), QV_OK);
}

} // namespace
