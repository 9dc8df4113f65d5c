// The locale functions in real locales: what the users of each read and write.
#include <clocale>
#include <cstring>
#include <ostream>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <windows.h>

#include <plinth_platform_test.h>

#include "support/environment.h"
#include "support/user_locale.h"

namespace
{

using test::needs_locale;
using test::set_locale;
using test::set_unknown_locale;
using test::set_user_text;
using test::utf8;

constexpr LCID user = LOCALE_USER_DEFAULT;

SYSTEMTIME make_time(WORD year, WORD month, WORD day, WORD hour = 0, WORD minute = 0,
                     WORD second = 0)
{
    // The day of the week is wrong on purpose: the calendar's counts.
    return {year, month, 0, day, hour, minute, second, 0};
}

const SYSTEMTIME afternoon = make_time(2024, 3, 5, 15, 4, 9); // a Tuesday

std::string item(LCTYPE type)
{
    wchar_t text[254];
    return GetLocaleInfoW(user, type, text, 254) ? utf8(text) : "<failed>";
}

DWORD number(LCTYPE type)
{
    DWORD result = 99;
    EXPECT_EQ(GetLocaleInfoW(user, type | LOCALE_RETURN_NUMBER, reinterpret_cast<LPWSTR>(&result),
                             sizeof result / sizeof(wchar_t)),
              2);
    EXPECT_EQ(item(type), std::to_string(result));
    return result;
}

std::string date(const SYSTEMTIME& time, const wchar_t* picture = nullptr)
{
    wchar_t text[254];
    const DWORD flags = picture ? 0 : DATE_SHORTDATE;
    return GetDateFormatW(user, flags, &time, picture, text, 254) ? utf8(text) : "<failed>";
}

std::string time_of_day(const SYSTEMTIME& time, const wchar_t* picture = nullptr)
{
    wchar_t text[254];
    return GetTimeFormatW(user, 0, &time, picture, text, 254) ? utf8(text) : "<failed>";
}

std::string formatted(const wchar_t* value, const NUMBERFMTW* format = nullptr)
{
    wchar_t text[254];
    return GetNumberFormatW(user, 0, value, format, text, 254) ? utf8(text) : "<failed>";
}

class Locale : public testing::Test
{
protected:
    ~Locale() override { PlinthTestReset(); }
};

struct Users
{
    const char* locale;
    const char* date_picture;
    const char* time_picture;
    DWORD date_order;
    const char* date_separator;
    const char* time_separator;
    bool hours24;
    const char* date;
    const char* time;
    const char* number; // of -1234567.891
};

void PrintTo(const Users& users, std::ostream* out)
{
    *out << users.locale;
}

class LocaleOf : public testing::TestWithParam<Users>
{
};

TEST_P(LocaleOf, ReadsAsItsUsersWrite)
{
    const Users& users = GetParam();
    set_locale(users.locale);
    EXPECT_EQ(item(LOCALE_SSHORTDATE), users.date_picture);
    EXPECT_EQ(item(LOCALE_STIMEFORMAT), users.time_picture);
    EXPECT_EQ(number(LOCALE_IDATE), users.date_order);
    EXPECT_EQ(item(LOCALE_SDATE), users.date_separator);
    EXPECT_EQ(item(LOCALE_STIME), users.time_separator);
    EXPECT_EQ(number(LOCALE_ITIME), users.hours24 ? 1u : 0u);
    EXPECT_EQ(date(afternoon), users.date);
    EXPECT_EQ(time_of_day(afternoon), users.time);
    EXPECT_EQ(formatted(L"-1234567.891"), users.number);
    EXPECT_EQ(number(LOCALE_ILZERO), 1u);
    EXPECT_EQ(number(LOCALE_INEGNUMBER), 1u);
    EXPECT_EQ(number(LOCALE_ITIMEMARKPOSN), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Countries, LocaleOf,
    testing::Values(Users{"C", "MM/dd/yy", "HH:mm:ss", 0, "/", ":", true, "03/05/24", "15:04:09",
                          "-1234567.89"},
                    Users{"de_DE.UTF-8", "dd.MM.yyyy", "HH:mm:ss", 1, ".", ":", true, "05.03.2024",
                          "15:04:09", "-1.234.567,89"},
                    Users{"en_US.UTF-8", "MM/dd/yyyy", "hh:mm:ss tt", 0, "/", ":", false,
                          "03/05/2024", "03:04:09 PM", "-1,234,567.89"},
                    Users{"fr_FR.UTF-8", "dd/MM/yyyy", "HH:mm:ss", 1, "/", ":", true, "05/03/2024",
                          "15:04:09", "-1\u202f234\u202f567,89"},
                    Users{"ar_SA.UTF-8", "dddd d MMMM yyyy", "H:mm:ss", 1, "/", ":", true,
                          "الثلاثاء 5 مارس 2024", "15:04:09", "-1234567.89"},
                    Users{"ja_JP.UTF-8", "yyyy年MM月dd日", "HH時mm分ss秒", 2, "/", ":", true,
                          "2024年03月05日", "15時04分09秒", "-1,234,567.89"},
                    Users{"hi_IN", "d/M/yy", "hh:mm:ss tt", 1, "/", ":", false, "5/3/24",
                          "03:04:09 अपराह्न", "-1,234,567.89"},
                    Users{"sv_SE.UTF-8", "yyyy-MM-dd", "HH:mm:ss", 2, "-", ":", true, "2024-03-05",
                          "15:04:09", "-1\u202f234\u202f567,89"},
                    Users{"pl_PL.UTF-8", "dd.MM.yyyy", "HH:mm:ss", 1, ".", ":", true, "05.03.2024",
                          "15:04:09", "-1\u202f234\u202f567,89"},
                    Users{"tr_TR.UTF-8", "dd-MM-yyyy", "HH:mm:ss", 1, "-", ":", true, "05-03-2024",
                          "15:04:09", "-1.234.567,89"},
                    Users{"pt_BR.UTF-8", "dd/MM/yyyy", "HH:mm:ss", 1, "/", ":", true, "05/03/2024",
                          "15:04:09", "-1.234.567,89"},
                    Users{"fa_IR", "yy/MM/dd", "HH:mm:ss", 2, "/", ":", true, "24/03/05",
                          "15:04:09", "-1,234,567.89"},
                    // Groups of two above the first, and the Buddhist era.
                    Users{"en_IN", "dd/MM/yy", "hh:mm:ss tt", 1, "/", ":", false, "05/03/24",
                          "03:04:09 PM", "-12,34,567.89"},
                    Users{"th_TH.UTF-8", "dd/MM/yyyy", "HH:mm:ss", 1, "/", ":", true, "05/03/2567",
                          "15:04:09", "-1,234,567.89"}),
    [](const auto& row) { return std::string(row.param.locale).substr(0, 5); });

TEST_F(Locale, CategoryStandsBehindAllAndBeforeLang)
{
    needs_locale("de_DE.UTF-8");
    needs_locale("en_US.UTF-8");
    unsetenv("LC_ALL");
    setenv("LANG", "de_DE.UTF-8", 1);
    setenv("LC_NUMERIC", "en_US.UTF-8", 1);
    setenv("LC_TIME", "", 1); // empty is as good as not set
    EXPECT_EQ(item(LOCALE_SDECIMAL), ".");
    EXPECT_EQ(item(LOCALE_SDATE), ".");
    set_locale("fr_FR.UTF-8");
    EXPECT_EQ(item(LOCALE_SDECIMAL), ",");
    EXPECT_EQ(item(LOCALE_SDATE), "/");
    unsetenv("LC_ALL");
    unsetenv("LANG");
    unsetenv("LC_NUMERIC");
    EXPECT_EQ(item(LOCALE_SSHORTDATE), "MM/dd/yy");
}

TEST_F(Locale, OneThatDoesNotExistIsTheC)
{
    for (const char* name : {"xx_XX.UTF-8", "de_DE.NO-SUCH-SET", "../../etc/passwd", "%s%n"})
    {
        set_unknown_locale(name);
        EXPECT_EQ(item(LOCALE_SSHORTDATE), "MM/dd/yy") << name;
        EXPECT_EQ(formatted(L"-0.5"), "-0.50") << name;
    }
}

TEST_F(Locale, ShortageWhileItIsReadPasses)
{
    set_locale("de_DE.UTF-8");
    PlinthTestFail("newlocale", 1, 1, ENOMEM);
    EXPECT_EQ(item(LOCALE_SDECIMAL), ".");
    EXPECT_EQ(item(LOCALE_SDECIMAL), ",");
    set_locale("de_DE.ISO-8859-1");
    PlinthTestFail("iconv_open", 1, 2, EMFILE);
    EXPECT_EQ(date(afternoon, L"MMMM"), "M?rz");
    EXPECT_EQ(date(afternoon, L"MMMM"), "März");
}

TEST_F(Locale, OtherCharacterSetsComeOutAsUnicode)
{
    set_locale("de_DE.ISO-8859-1");
    EXPECT_EQ(date(afternoon, L"d. MMMM"), "5. März");
    set_locale("ja_JP.eucjp");
    EXPECT_EQ(date(afternoon), "2024年03月05日");
}

TEST_F(Locale, ProcessLocaleIsNeitherAskedNorChanged)
{
    set_locale("en_US.UTF-8");
    needs_locale("de_DE.UTF-8");
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    EXPECT_EQ(formatted(L"1234.5"), "1,234.50");
    EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "de_DE.UTF-8");
    EXPECT_STREQ(std::localeconv()->decimal_point, ",");
}

TEST_F(Locale, MonthBesideADayHasItsOwnForm)
{
    set_locale("pl_PL.UTF-8");
    EXPECT_EQ(date(afternoon, L"d MMMM yyyy"), "5 marca 2024");
    EXPECT_EQ(date(afternoon, L"MMMM yyyy"), "marzec 2024");
    EXPECT_EQ(date(afternoon, L"dddd, MMMM"), "wtorek, marzec");
}

TEST_F(Locale, PictureLettersStandForParts)
{
    set_locale("en_US.UTF-8");
    static constexpr struct
    {
        const wchar_t* picture;
        const char* date;
    } dates[] = {
        {L"d dd ddd dddd ddddd", "5 05 Fri Friday Friday"},
        {L"M MM MMM MMMM MMMMM", "3 03 Mar March March"},
        {L"y yy yyy yyyy yyyyy", "4 04 2004 2004 2004"},
        {L"g gg yyyy", "  2004"},
        {L"'day' d 'o''clock' HH:mm tt", "day 5 o'clock HH:mm tt"},
        {L"'open d", "open d"},
        {L"''''", "'"},
        {L"''", ""},
        {L"", ""},
        {L"dé\xD800M", "5é\uFFFD3"},
    };
    for (const auto& row : dates)
        EXPECT_EQ(date(make_time(2004, 3, 5), row.picture), row.date) << utf8(row.picture);
    static constexpr struct
    {
        WORD hour;
        const wchar_t* picture;
        const char* time;
    } times[] = {
        {0, L"h hh H HH HHH t tt", "12 12 0 00 00 A AM"},
        {11, L"h H t", "11 11 A"},
        {12, L"h H t", "12 12 P"},
        {23, L"h:m:s hh:mm:ss ttt 'h'", "11:4:9 11:04:09 PM h"},
        {7, L"d.M.y h", "d.M.y 7"},
    };
    for (const auto& row : times)
        EXPECT_EQ(time_of_day(make_time(2024, 1, 1, row.hour, 4, 9), row.picture), row.time);
    set_locale("ja_JP.UTF-8");
    EXPECT_EQ(time_of_day(afternoon, L"t|tt"), "午|午後");
}

TEST_F(Locale, DatesReachFromTheFirstFileTimeToTheLast)
{
    set_locale("C");
    EXPECT_EQ(date(make_time(1601, 1, 1), L"dddd yyyy"), "Monday 1601");
    EXPECT_EQ(date(make_time(30827, 12, 31), L"yy yyyy"), "27 30827");
    EXPECT_EQ(date(make_time(2000, 2, 29), L"ddd"), "Tue");
    for (const SYSTEMTIME& bad :
         {make_time(1600, 12, 31), make_time(2023, 2, 29), make_time(2024, 0, 1),
          make_time(2024, 13, 1), make_time(2024, 1, 0), make_time(65535, 1, 1)})
    {
        EXPECT_EQ(date(bad), "<failed>");
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(date(make_time(2024, 1, 1, 99, 99, 99)), "01/01/24") << "the time doesn't matter";
    EXPECT_EQ(time_of_day(make_time(0, 0, 0, 1, 2, 3)), "01:02:03") << "nor does the date";
    for (const SYSTEMTIME& bad :
         {make_time(2024, 1, 1, 24), make_time(2024, 1, 1, 0, 60), make_time(2024, 1, 1, 0, 0, 60)})
        EXPECT_EQ(time_of_day(bad), "<failed>");
}

TEST_F(Locale, NullTimeIsNow)
{
    set_locale("C");
    wchar_t text[32];
    EXPECT_EQ(GetDateFormatW(user, 0, nullptr, L"yyyy-MM-dd", text, 32), 11);
    EXPECT_EQ(GetTimeFormatW(user, 0, nullptr, nullptr, text, 32), 9);
}

TEST_F(Locale, BuffersTakeTextWithItsTerminatorOrNothing)
{
    set_locale("de_DE.UTF-8");
    const auto promises = [](const char* what, auto call)
    {
        const int needed = call(nullptr, 0);
        EXPECT_GT(needed, 1) << what;
        std::vector<wchar_t> text(static_cast<size_t>(needed), L'#');
        SetLastError(0);
        EXPECT_EQ(call(text.data(), needed - 1), 0) << what;
        EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER) << what;
        EXPECT_EQ(text[0], L'#') << what;
        EXPECT_EQ(call(text.data(), needed), needed) << what;
        EXPECT_EQ(text.back(), L'\0') << what;
        EXPECT_EQ(call(text.data(), -1), 0) << what;
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER) << what;
        EXPECT_EQ(call(nullptr, needed), 0) << what;
    };
    promises("info", [](wchar_t* out, int size)
             { return GetLocaleInfoW(user, LOCALE_SSHORTDATE, out, size); });
    promises("number as such", [](wchar_t* out, int size)
             { return GetLocaleInfoW(user, LOCALE_IDATE | LOCALE_RETURN_NUMBER, out, size); });
    promises("date", [](wchar_t* out, int size)
             { return GetDateFormatW(user, DATE_SHORTDATE, &afternoon, nullptr, out, size); });
    promises("time", [](wchar_t* out, int size)
             { return GetTimeFormatW(user, 0, &afternoon, nullptr, out, size); });
    promises("number", [](wchar_t* out, int size)
             { return GetNumberFormatW(user, 0, L"-1234.5", nullptr, out, size); });
}

TEST_F(Locale, RefusesWhatItDoesNotKnow)
{
    wchar_t text[64];
    EXPECT_EQ(GetLocaleInfoW(0x407, LOCALE_SDATE, text, 64), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    for (const LCTYPE type : {LCTYPE{0}, LCTYPE{0xFFFF}, LOCALE_SDATE | LOCALE_RETURN_NUMBER})
    {
        EXPECT_EQ(GetLocaleInfoW(user, type, text, 64), 0);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_FLAGS);
    }
    EXPECT_EQ(GetDateFormatW(user, DATE_SHORTDATE, &afternoon, L"d", text, 64), 0);
    EXPECT_EQ(GetDateFormatW(user, 2, &afternoon, nullptr, text, 64), 0);
    EXPECT_EQ(GetTimeFormatW(user, 2, &afternoon, nullptr, text, 64), 0);
    EXPECT_EQ(GetNumberFormatW(user, 1, L"1", nullptr, text, 64), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_FLAGS);
}

class UserItems : public Locale
{
};

TEST_F(UserItems, StandBeforeTheEnvironmentOneByOne)
{
    set_locale("de_DE.UTF-8");
    set_user_text(L"sDecimal", "·");
    set_user_text(L"iNegNumber", "3");
    EXPECT_EQ(formatted(L"-1234.5"), "1.234·50-");
    set_user_text(L"sGrouping", "3;2;0");
    set_user_text(L"iDigits", "0");
    EXPECT_EQ(formatted(L"-12345678.5"), "1.23.45.679-");
    set_user_text(L"sNegativeSign", "−");
    EXPECT_EQ(formatted(L"-1"), "1−");
    EXPECT_EQ(item(LOCALE_SDATE), ".") << "what is not set stays";
}

TEST_F(UserItems, ShapeFollowsThePictureUnlessItIsSetItself)
{
    set_locale("de_DE.UTF-8");
    set_user_text(L"sShortDate", "M/d/yyyy");
    set_user_text(L"sTimeFormat", "tt h.mm.ss");
    EXPECT_EQ(date(afternoon), "3/5/2024");
    EXPECT_EQ(number(LOCALE_IDATE), 0u);
    EXPECT_EQ(item(LOCALE_SDATE), "/");
    EXPECT_EQ(number(LOCALE_ITIME), 0u);
    EXPECT_EQ(number(LOCALE_ITIMEMARKPOSN), 1u);
    EXPECT_EQ(item(LOCALE_STIME), ".");
    set_user_text(L"s2359", "nachm.");
    EXPECT_EQ(time_of_day(afternoon), "nachm. 3.04.09");
    set_user_text(L"sDate", "-");
    set_user_text(L"iDate", "2");
    EXPECT_EQ(item(LOCALE_SDATE), "-");
    EXPECT_EQ(number(LOCALE_IDATE), 2u);
}

TEST_F(UserItems, OnesThatAreNoneAreSkipped)
{
    set_locale("de_DE.UTF-8");
    for (const char* bad : {"5", "-1", "x", "", "01", "\u0661"})
    {
        set_user_text(L"iNegNumber", bad);
        EXPECT_EQ(item(LOCALE_INEGNUMBER), "1") << bad;
    }
    set_user_text(L"sDecimal", "");
    EXPECT_EQ(item(LOCALE_SDECIMAL), ",") << "no mark at all";
    set_user_text(L"sDecimal", "....");
    EXPECT_EQ(item(LOCALE_SDECIMAL), ",") << "too long";
    set_user_text(L"sShortDate", test::Wide(100'000, L'd'));
    EXPECT_EQ(item(LOCALE_SSHORTDATE), "dd.MM.yyyy");
    const DWORD two = 2;
    ASSERT_EQ(test::set_user_value(L"iDate", REG_DWORD, &two, sizeof two), 0);
    EXPECT_EQ(number(LOCALE_IDATE), 1u) << "a number where a text belongs";
    // Without a terminator, and cut within a character.
    ASSERT_EQ(test::set_user_value(L"sDate", REG_SZ, "-\0-", 3), 0);
    EXPECT_EQ(item(LOCALE_SDATE).substr(0, 1), "-");
}

TEST_F(UserItems, EmptyThousandSeparatorIsAWish)
{
    set_locale("de_DE.UTF-8");
    set_user_text(L"sThousand", "");
    EXPECT_EQ(formatted(L"1234567.5"), "1234567,50");
}

struct Style
{
    NUMBERFMTW format = {};
    wchar_t decimal[4] = L",";
    wchar_t thousand[4] = L".";

    Style(UINT digits, UINT leading_zero, UINT grouping, UINT negative_order)
    {
        format = {digits, leading_zero, grouping, decimal, thousand, negative_order};
    }
};

std::string formatted(const wchar_t* value, const Style& style)
{
    NUMBERFMTW format = style.format;
    format.lpDecimalSep = const_cast<wchar_t*>(style.decimal);
    format.lpThousandSep = const_cast<wchar_t*>(style.thousand);
    return formatted(value, &format);
}

TEST_F(Locale, NegativeNumbersHaveFiveForms)
{
    static constexpr const char* forms[] = {"(1,5)", "-1,5", "- 1,5", "1,5-", "1,5 -"};
    for (UINT order = 0; order < 5; ++order)
    {
        EXPECT_EQ(formatted(L"-1.5", Style(1, 1, 0, order)), forms[order]);
        EXPECT_EQ(formatted(L"1.5", Style(1, 1, 0, order)), "1,5");
        EXPECT_EQ(formatted(L"-0.04", Style(1, 1, 0, order)), "0,0") << "nothing is not negative";
    }
}

TEST_F(Locale, NumbersAreGroupedFromTheRight)
{
    static constexpr struct
    {
        UINT grouping;
        const char* text;
    } rows[] = {
        {0, "123456789"},         {3, "123.456.789"},   {32, "12.34.56.789"},
        {30, "123456.789"},       {320, "1234.56.789"}, {4, "1.2345.6789"},
        {1, "1.2.3.4.5.6.7.8.9"}, {9, "123456789"},     {123, "123.456.78.9"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(formatted(L"123456789", Style(0, 1, row.grouping, 1)), row.text) << row.grouping;
    EXPECT_EQ(formatted(L"-123", Style(0, 1, 3, 1)), "-123");
}

TEST_F(Locale, NumbersAreRoundedAndFilledInDecimal)
{
    static constexpr struct
    {
        const wchar_t* value;
        UINT digits;
        const char* text;
    } rows[] = {
        {L"0.5", 0, "1"},
        {L"0.4999999", 0, "0"},
        {L"999.995", 2, "1000,00"},
        {L"-999.5", 0, "-1000"},
        {L"2.5", 3, "2,500"},
        {L"2.5", 0, "3"},
        {L"1.05", 1, "1,1"},
        {L"0.049", 1, "0,0"},
        {L"007", 0, "7"},
        {L".5", 1, "0,5"},
        {L"5.", 1, "5,0"},
        {L"0", 0, "0"},
        {L"00.00", 1, "0,0"},
        {L"12345678901234567890123.123456789", 9, "12345678901234567890123,123456789"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(formatted(row.value, Style(row.digits, 1, 0, 1)), row.text) << utf8(row.value);
    EXPECT_EQ(formatted(L"0.5", Style(1, 0, 0, 1)), ",5");
    EXPECT_EQ(formatted(L"-0.5", Style(1, 0, 3, 0)), "(,5)");
    EXPECT_EQ(formatted(L"0", Style(0, 0, 0, 1)), "0") << "something must be left";
    EXPECT_EQ(formatted(L"0.5", Style(17, 1, 0, 1)), "0,50000000000000000");
}

TEST_F(Locale, OnlyPlainNumbersAreFormatted)
{
    for (const wchar_t* bad : {L"", L"-", L".", L"-.", L"+1", L"1e5", L"1,5", L"1.2.3", L"1-",
                               L"--1", L" 1", L"nan", L"inf", L"1.#INF", L"\x0661"})
    {
        EXPECT_EQ(formatted(bad), "<failed>") << utf8(bad);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER) << utf8(bad);
    }
    wchar_t text[8];
    EXPECT_EQ(GetNumberFormatW(user, 0, nullptr, nullptr, text, 8), 0);
    EXPECT_EQ(formatted(L"1", Style(0, 2, 0, 1)), "<failed>");
    EXPECT_EQ(formatted(L"1", Style(0, 1, 0, 5)), "<failed>");
    NUMBERFMTW without = {};
    EXPECT_EQ(formatted(L"1", &without), "<failed>");
}

TEST_F(Locale, MoreZerosThanMemoryAreCountedNotMade)
{
    Style style(0x7FFFFFF0, 1, 0, 1);
    wchar_t text[64];
    EXPECT_EQ(GetNumberFormatW(user, 0, L"1.5", &style.format, text, 64), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(GetNumberFormatW(user, 0, L"1.5", &style.format, nullptr, 0), 0x7FFFFFF0 + 3);
    style.format.NumDigits = 0xFFFFFFFF;
    EXPECT_EQ(GetNumberFormatW(user, 0, L"1.5", &style.format, nullptr, 0), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST_F(Locale, ConcurrentFirstUseGivesEveryThreadTheSame)
{
    set_locale("de_DE.UTF-8");
    std::vector<std::thread> threads;
    std::vector<std::string> results(8);
    for (std::string& result : results)
        threads.emplace_back(
            [&result]
            {
                for (int i = 0; i < 50; ++i)
                    result = date(afternoon, L"dddd, d. MMMM ") + formatted(L"-1234.5");
            });
    for (std::thread& thread : threads)
        thread.join();
    for (const std::string& result : results)
        EXPECT_EQ(result, "Dienstag, 5. März -1.234,50");
}

} // namespace
