// The three forms of the user's date and time conventions, in real locales.
#include <ctime>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include <plinth_w32_system.h>

#include "support/environment.h"
#include "support/user_locale.h"

namespace
{

using test::set_locale;
using test::set_user_text;
using test::utf8;

const SYSTEMTIME afternoon = {2024, 3, 2, 5, 15, 4, 9, 0};

struct Forms
{
    const char* locale;
    const char* date;
    const char* time;
    const char* mask;
    const char* shown;
};

void PrintTo(const Forms& forms, std::ostream* out)
{
    *out << forms.locale;
}

class FormsOf : public testing::TestWithParam<Forms>
{
};

TEST_P(FormsOf, AreThoseOfItsUsers)
{
    const Forms& forms = GetParam();
    const bool exists = std::string(forms.locale) != "no_SUCH";
    (exists ? set_locale : test::set_unknown_locale)(forms.locale);
    wchar_t date[80];
    wchar_t time[80];
    ASSERT_EQ(QV_GetLocaleDateTimeFormat(date, 80, time, 80), QV_OK);
    EXPECT_EQ(utf8(date), forms.date);
    EXPECT_EQ(utf8(time), forms.time);
    ASSERT_EQ(QV_GetLocaleUserDateTimeFormat(date, 80), QV_OK);
    EXPECT_EQ(utf8(date), forms.mask);
    ASSERT_EQ(QV_FormatLocaleDateTime(&afternoon, date, 80, time, 80), QV_OK);
    EXPECT_EQ(utf8(date) + "|" + utf8(time), forms.shown);
}

INSTANTIATE_TEST_SUITE_P(
    Countries, FormsOf,
    testing::Values(
        Forms{"C", "%m/%d/%Y", "%H:%M:%S", "MM/DD/YYYY HH:MM:SS", "03/05/24|15:04:09"},
        Forms{"de_DE.UTF-8", "%d.%m.%Y", "%H:%M:%S", "DD.MM.YYYY HH:MM:SS", "05.03.2024|15:04:09"},
        Forms{"en_US.UTF-8", "%m/%d/%Y", "%I:%M:%S %p", "MM/DD/YYYY hh:MM:SS pm",
              "03/05/2024|03:04:09 PM"},
        Forms{"fr_FR.UTF-8", "%d/%m/%Y", "%H:%M:%S", "DD/MM/YYYY HH:MM:SS", "05/03/2024|15:04:09"},
        Forms{"ar_SA.UTF-8", "%d/%m/%Y", "%H:%M:%S", "DD/MM/YYYY HH:MM:SS",
              "الثلاثاء 5 مارس 2024|15:04:09"},
        Forms{"ja_JP.UTF-8", "%Y/%m/%d", "%H:%M:%S", "YYYY/MM/DD HH:MM:SS",
              "2024年03月05日|15時04分09秒"},
        Forms{"hi_IN", "%d/%m/%Y", "%I:%M:%S %p", "DD/MM/YYYY hh:MM:SS pm",
              "5/3/24|03:04:09 अपराह्न"},
        Forms{"sv_SE.UTF-8", "%Y-%m-%d", "%H:%M:%S", "YYYY-MM-DD HH:MM:SS", "2024-03-05|15:04:09"},
        Forms{"pl_PL.UTF-8", "%d.%m.%Y", "%H:%M:%S", "DD.MM.YYYY HH:MM:SS", "05.03.2024|15:04:09"},
        Forms{"tr_TR.UTF-8", "%d-%m-%Y", "%H:%M:%S", "DD-MM-YYYY HH:MM:SS", "05-03-2024|15:04:09"},
        Forms{"pt_BR.UTF-8", "%d/%m/%Y", "%H:%M:%S", "DD/MM/YYYY HH:MM:SS", "05/03/2024|15:04:09"},
        Forms{"fa_IR", "%Y/%m/%d", "%H:%M:%S", "YYYY/MM/DD HH:MM:SS", "24/03/05|15:04:09"},
        Forms{"no_SUCH", "%m/%d/%Y", "%H:%M:%S", "MM/DD/YYYY HH:MM:SS", "03/05/24|15:04:09"}),
    [](const auto& row) { return std::string(row.param.locale).substr(0, 5); });

TEST(LocaleFormatsOfUser, MarkStandsWhereThePictureHasIt)
{
    set_locale("en_US.UTF-8");
    set_user_text(L"sTimeFormat", "tt hh:mm:ss");
    wchar_t time[80];
    QV_GetLocaleDateTimeFormat(nullptr, 0, time, 80);
    EXPECT_EQ(utf8(time), "%p %I:%M:%S");
    wchar_t mask[80];
    QV_GetLocaleUserDateTimeFormat(mask, 80);
    EXPECT_EQ(utf8(mask), "MM/DD/YYYY pm hh:MM:SS");
}

TEST(LocaleFormatsOfUser, PicturesComeAsTheyAre)
{
    set_locale("ja_JP.UTF-8");
    wchar_t date[80] = L"#";
    wchar_t time[80] = L"#";
    EXPECT_EQ(QV_GetLocaleShortDateTimeFormat(date, 80, nullptr, 0), QV_OK);
    EXPECT_EQ(utf8(date), "yyyy年MM月dd日");
    EXPECT_EQ(QV_GetLocaleShortDateTimeFormat(nullptr, 0, time, 80), QV_OK);
    EXPECT_EQ(utf8(time), "HH時mm分ss秒");
}

TEST(LocaleFormatsOfUser, TextsThatAreTooLongAreCut)
{
    set_locale("de_DE.UTF-8");
    wchar_t text[80];
    QV_GetLocaleDateTimeFormat(text, 8, nullptr, 0);
    EXPECT_EQ(utf8(text), "%d.%m.%") << "the format would fill eight exactly";
    QV_GetLocaleDateTimeFormat(text, 9, nullptr, 0);
    EXPECT_EQ(utf8(text), "%d.%m.%Y");
    QV_GetLocaleUserDateTimeFormat(text, 14);
    EXPECT_EQ(utf8(text), "DD.MM.YYYY HH");
    QV_GetLocaleUserDateTimeFormat(text, 11);
    EXPECT_EQ(utf8(text), "DD.MM.YYYY");
    QV_GetLocaleUserDateTimeFormat(text, 5);
    EXPECT_EQ(utf8(text), "DD.M");
    EXPECT_EQ(QV_FormatLocaleDateTime(&afternoon, text, 10, nullptr, 0), QV_ERR_SYSTEM);
    EXPECT_EQ(QV_FormatLocaleDateTime(&afternoon, text, 11, nullptr, 0), QV_OK);
    EXPECT_EQ(utf8(text), "05.03.2024");
}

// The formats are for strftime: it must give the time back in numbers.
TEST(LocaleFormatsOfUser, StrftimeTakesTheFormats)
{
    for (const char* locale : {"de_DE.UTF-8", "en_US.UTF-8", "ar_SA.UTF-8", "ja_JP.UTF-8",
                               "hu_HU.UTF-8", "eu_ES.UTF-8", "fi_FI.UTF-8"})
    {
        set_locale(locale);
        wchar_t date[80];
        wchar_t time[80];
        QV_GetLocaleDateTimeFormat(date, 80, time, 80);
        struct tm broken = {};
        broken.tm_year = 124;
        broken.tm_mon = 2;
        broken.tm_mday = 5;
        broken.tm_hour = 15;
        broken.tm_min = 4;
        broken.tm_sec = 9;
        const std::string format = utf8(date) + " " + utf8(time);
        char text[160];
        ASSERT_NE(strftime(text, sizeof text, format.c_str(), &broken), 0u) << locale;
        struct tm back = {};
        ASSERT_NE(strptime(text, format.c_str(), &back), nullptr) << locale << ' ' << text;
        EXPECT_EQ(std::mktime(&back), std::mktime(&broken)) << locale << ' ' << text;
    }
}

} // namespace
