// The locale functions in real locales: how their users read and write; code pages.
#include <clocale>
#include <tuple>

#include "support/test.h"

#include "kernel32/locale/locale_picture.h"

#include "support/environment.h"
#include "support/handles.h"
#include "support/user_locale.h"
#include "support/wide_text.h"

namespace
{

using test::error_of;
using test::needs_locale;
using test::set_locale;
using test::set_unknown_locale;
using test::set_user_text;
using test::utf8;

constexpr LCID user = LOCALE_USER_DEFAULT;

SYSTEMTIME make_time(WORD year, WORD month, WORD day, WORD hour = 0, WORD minute = 0,
                     WORD second = 0)
{
    // The day of the week is wrong on purpose: the calls compute it themselves.
    return {year, month, 0, day, hour, minute, second, 0};
}

const SYSTEMTIME afternoon = make_time(2004, 3, 5, 15, 4, 9); // a Friday

// The text that a call stores in its buffer.
template <class Call> std::string text_of(Call call)
{
    wchar_t text[254];
    return call(text, 254) ? utf8(text) : "error " + std::to_string(GetLastError());
}

std::string item(LCTYPE type)
{
    return text_of([=](wchar_t* out, int size) { return GetLocaleInfoW(user, type, out, size); });
}

std::string number(LCTYPE type)
{
    DWORD result = 99;
    EXPECT_EQ(GetLocaleInfoW(user, type | LOCALE_RETURN_NUMBER, reinterpret_cast<LPWSTR>(&result),
                             sizeof result / sizeof(wchar_t)),
              2);
    EXPECT_EQ(item(type), std::to_string(result));
    return std::to_string(result);
}

std::string date(const SYSTEMTIME& time, const wchar_t* picture = nullptr)
{
    const DWORD flags = picture ? 0 : DATE_SHORTDATE;
    return text_of([&](wchar_t* out, int size)
                   { return GetDateFormatW(user, flags, &time, picture, out, size); });
}

std::string time_of_day(const SYSTEMTIME& time, const wchar_t* picture = nullptr)
{
    return text_of([&](wchar_t* out, int size)
                   { return GetTimeFormatW(user, 0, &time, picture, out, size); });
}

std::string formatted(const wchar_t* value, const NUMBERFMTW* format = nullptr)
{
    return text_of([=](wchar_t* out, int size)
                   { return GetNumberFormatW(user, 0, value, format, out, size); });
}

NUMBERFMTW style(UINT digits, UINT leading_zero, UINT grouping, UINT negative_order)
{
    static wchar_t decimal[] = L",";
    static wchar_t thousand[] = L".";
    return {digits, leading_zero, grouping, decimal, thousand, negative_order};
}

std::string formatted(const wchar_t* value, const NUMBERFMTW& format)
{
    return formatted(value, &format);
}

using platform::picture_from_format;

class Locale : public testing::Test
{
protected:
    ~Locale() override { PlinthTestReset(); }
};

TEST_F(Locale, ReadsAsItsUsersWrite)
{
    // Pictures, order, separators and 24-hour flag; then a date, a time and a number.
    static constexpr std::pair<const char*, const char*> rows[] = {
        {"C", "MM/dd/yy|HH:mm:ss|0|/|:|1|03/05/04|15:04:09|-1234567.89"},
        {"en_US.UTF-8", "MM/dd/yyyy|hh:mm:ss tt|0|/|:|0|03/05/2004|03:04:09 PM|-1,234,567.89"},
        {"sv_SE.UTF-8", "yyyy-MM-dd|HH:mm:ss|2|-|:|1|2004-03-05|15:04:09|-1\u202f234\u202f567,89"},
        // Groups of two above the first group, and the Buddhist era.
        {"en_IN", "dd/MM/yy|hh:mm:ss tt|1|/|:|0|05/03/04|03:04:09 PM|-12,34,567.89"},
        {"th_TH.UTF-8", "dd/MM/yyyy|HH:mm:ss|1|/|:|1|05/03/2547|15:04:09|-1,234,567.89"}};
    for (const auto& [locale, shown] : rows)
    {
        SCOPED_TRACE(locale);
        set_locale(locale);
        EXPECT_EQ(item(LOCALE_SSHORTDATE) + "|" + item(LOCALE_STIMEFORMAT) + "|" +
                      number(LOCALE_IDATE) + "|" + item(LOCALE_SDATE) + "|" + item(LOCALE_STIME) +
                      "|" + number(LOCALE_ITIME) + "|" + date(afternoon) + "|" +
                      time_of_day(afternoon) + "|" + formatted(L"-1234567.891"),
                  shown);
        EXPECT_EQ(number(LOCALE_ILZERO) + number(LOCALE_INEGNUMBER) + number(LOCALE_ITIMEMARKPOSN),
                  "110");
    }
}

TEST_F(Locale, CategoryStandsBehindAllAndBeforeLang)
{
    needs_locale("de_DE.UTF-8");
    needs_locale("en_US.UTF-8");
    unsetenv("LC_ALL");
    setenv("LANG", "de_DE.UTF-8", 1);
    setenv("LC_NUMERIC", "en_US.UTF-8", 1);
    setenv("LC_TIME", "", 1); // empty counts as not set
    EXPECT_EQ(item(LOCALE_SDECIMAL) + item(LOCALE_SDATE), "..");
    set_locale("fr_FR.UTF-8");
    EXPECT_EQ(item(LOCALE_SDECIMAL) + item(LOCALE_SDATE), ",/");
    for (const char* const name : {"LC_ALL", "LANG", "LC_NUMERIC"})
        unsetenv(name);
    EXPECT_EQ(item(LOCALE_SSHORTDATE), "MM/dd/yy");
    set_unknown_locale("../../etc/passwd");
    EXPECT_EQ(item(LOCALE_SSHORTDATE) + formatted(L"-0.5"), "MM/dd/yy-0.50");
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

TEST_F(Locale, PictureLettersStandForParts)
{
    static constexpr std::tuple<const char*, const wchar_t*, const char*> dates[] = {
        {"en_US.UTF-8", L"d dd ddd dddd ddddd", "5 05 Fri Friday Friday"},
        {"en_US.UTF-8", L"M MM MMM MMMM MMMMM", "3 03 Mar March March"},
        {"en_US.UTF-8", L"y yy yyy yyyy yyyyy", "4 04 2004 2004 2004"},
        {"en_US.UTF-8", L"'day' d 'o''clock' HH:mm tt", "day 5 o'clock HH:mm tt"},
        {"en_US.UTF-8", L"'open d", "open d"},
        {"en_US.UTF-8", L"dé\xD800M", "5é\uFFFD3"},
        // A month next to a day has another form.
        {"pl_PL.UTF-8", L"d MMMM yyyy", "5 marca 2004"},
        {"pl_PL.UTF-8", L"MMMM yyyy", "marzec 2004"},
        // Other character sets.
        {"ja_JP.eucjp", nullptr, "2004年03月05日"}};
    for (const auto& [locale, picture, expected] : dates)
    {
        set_locale(locale);
        EXPECT_EQ(date(afternoon, picture), expected) << locale;
    }
    static constexpr std::tuple<WORD, const wchar_t*, const char*> times[] = {
        {0, L"h hh H HH HHH t tt", "12 12 0 00 00 午 午前"},
        {12, L"h H tt", "12 12 午後"},
        {23, L"h:m:s hh:mm:ss ttt 'h'", "11:4:9 11:04:09 午後 h"}};
    set_locale("ja_JP.UTF-8");
    for (const auto& [hour, picture, expected] : times)
        EXPECT_EQ(time_of_day(make_time(2024, 1, 1, hour, 4, 9), picture), expected);
}

TEST_F(Locale, DatesReachFromTheFirstFileTimeToTheLast)
{
    set_locale("C");
    EXPECT_EQ(date(make_time(1601, 1, 1), L"dddd yyyy"), "Monday 1601");
    EXPECT_EQ(date(make_time(30827, 12, 31), L"yy yyyy"), "27 30827");
    for (const SYSTEMTIME& bad : {make_time(1600, 12, 31), make_time(2023, 2, 29)})
        EXPECT_EQ(date(bad), "error 87");
    EXPECT_EQ(date(make_time(2024, 1, 1, 99, 99, 99)), "01/01/24") << "the time doesn't matter";
    EXPECT_EQ(time_of_day(make_time(0, 0, 0, 1, 2, 3)), "01:02:03") << "nor does the date";
    EXPECT_EQ(time_of_day(make_time(2024, 1, 1, 24)), "error 87");
}

TEST_F(Locale, BuffersTakeTextWithItsTerminatorOrNothing)
{
    static constexpr std::tuple<const char*, int, int (*)(wchar_t*, int)> rows[] = {
        {"info", 11,
         [](wchar_t* out, int size) { return GetLocaleInfoW(user, LOCALE_SSHORTDATE, out, size); }},
        {"number as such", 2,
         [](wchar_t* out, int size)
         { return GetLocaleInfoW(user, LOCALE_IDATE | LOCALE_RETURN_NUMBER, out, size); }},
        {"date now", 11,
         [](wchar_t* out, int size)
         { return GetDateFormatW(user, 0, nullptr, L"yyyy-MM-dd", out, size); }},
        {"number", 10, [](wchar_t* out, int size) {
             return GetNumberFormatW(user, 0, L"-1234.5", nullptr, out, size);
         }}};
    set_locale("de_DE.UTF-8");
    for (const auto& [what, needed, call] : rows)
    {
        SCOPED_TRACE(what);
        EXPECT_EQ(call(nullptr, 0), needed);
        std::vector<wchar_t> text(static_cast<size_t>(needed), L'#');
        EXPECT_EQ(error_of(call(text.data(), needed - 1)), ERROR_INSUFFICIENT_BUFFER);
        EXPECT_EQ(text[0], L'#');
        EXPECT_EQ(call(text.data(), needed), needed);
        EXPECT_EQ(text.back(), L'\0');
        EXPECT_EQ(error_of(call(text.data(), -1)), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(error_of(call(nullptr, needed)), ERROR_INVALID_PARAMETER);
    }
}

TEST_F(Locale, RefusesWhatItDoesNotKnow)
{
    wchar_t text[64];
    EXPECT_EQ(error_of(GetLocaleInfoW(0x407, LOCALE_SDATE, text, 64)), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(error_of(GetLocaleInfoW(user, 0xFFFF, text, 64)), ERROR_INVALID_FLAGS);
    EXPECT_EQ(error_of(GetDateFormatW(user, DATE_SHORTDATE, &afternoon, L"d", text, 64)),
              ERROR_INVALID_FLAGS);
}

TEST_F(Locale, UsersItemsStandBeforeTheEnvironmentOneByOne)
{
    set_locale("de_DE.UTF-8");
    set_user_text(L"sDecimal", "·");
    set_user_text(L"iNegNumber", "3");
    set_user_text(L"sGrouping", "3;2;0");
    set_user_text(L"iDigits", "1");
    EXPECT_EQ(formatted(L"-12345678.46"), "1.23.45.678·5-");
    set_user_text(L"sNegativeSign", "−");
    set_user_text(L"sThousand", "");
    EXPECT_EQ(formatted(L"-1234567"), "1234567·0−") << "an empty one is a wish";
    EXPECT_EQ(item(LOCALE_SDATE), ".") << "what is not set stays";
    // Order and separators follow the picture unless they are set themselves.
    set_user_text(L"sShortDate", "M/d/yyyy");
    set_user_text(L"sTimeFormat", "tt h.mm.ss");
    set_user_text(L"s2359", "nachm.");
    EXPECT_EQ(date(afternoon) + time_of_day(afternoon), "3/5/2004nachm. 3.04.09");
    EXPECT_EQ(number(LOCALE_IDATE) + item(LOCALE_SDATE), "0/");
}

TEST_F(Locale, UsersItemsThatAreNoneAreSkipped)
{
    set_locale("de_DE.UTF-8");
    for (const char* bad : {"5", "x", ""})
    {
        set_user_text(L"iNegNumber", bad);
        EXPECT_EQ(item(LOCALE_INEGNUMBER), "1") << bad;
    }
    set_user_text(L"sDecimal", "...."); // too long
    EXPECT_EQ(item(LOCALE_SDECIMAL), ",");
    set_user_text(L"sShortDate", test::Wide(100'000, L'd'));
    EXPECT_EQ(item(LOCALE_SSHORTDATE), "dd.MM.yyyy");
    const DWORD two = 2;
    ASSERT_EQ(test::set_user_value(L"iDate", REG_DWORD, &two, sizeof two), 0);
    EXPECT_EQ(number(LOCALE_IDATE), "1") << "a number where a text belongs";
    // Without a terminator, and cut inside a character.
    ASSERT_EQ(test::set_user_value(L"sDate", REG_SZ, "-\0-", 3), 0);
    EXPECT_EQ(item(LOCALE_SDATE).substr(0, 1), "-");
}

TEST_F(Locale, NumbersAreRoundedFilledGroupedAndSigned)
{
    static constexpr std::tuple<const wchar_t*, UINT, const char*> rows[] = {
        {L"0.4999999", 0, "0"}, {L"-999.5", 0, "-1000"}, {L"2.5", 3, "2,500"},
        {L"007", 0, "7"},       {L".5", 1, "0,5"},       {L"5.", 1, "5,0"}};
    for (const auto& [value, digits, text] : rows)
        EXPECT_EQ(formatted(value, style(digits, 1, 0, 1)), text) << utf8(value);
    EXPECT_EQ(formatted(L"-0.5", style(1, 0, 3, 0)), "(,5)");
    EXPECT_EQ(formatted(L"0", style(0, 0, 0, 1)), "0") << "something must be left";
    static constexpr std::pair<UINT, const char*> groups[] = {
        {0, "123456789"}, {3, "123.456.789"}, {32, "12.34.56.789"}, {320, "1234.56.789"}};
    for (const auto& [grouping, text] : groups)
        EXPECT_EQ(formatted(L"123456789", style(0, 1, grouping, 1)), text) << grouping;
    static constexpr const char* forms[] = {"(1,5)", "-1,5", "- 1,5", "1,5-", "1,5 -"};
    for (UINT order = 0; order < 5; ++order)
    {
        EXPECT_EQ(formatted(L"-1.5", style(1, 1, 0, order)), forms[order]);
        EXPECT_EQ(formatted(L"-0.04", style(1, 1, 0, order)), "0,0") << "nothing is not negative";
    }
}

TEST_F(Locale, OnlyPlainNumbersAreFormattedAndZerosBeyondMemoryAreCounted)
{
    for (const wchar_t* bad : {L"", L"-.", L"1e5", L"1.2.3", L"\x0661"})
        EXPECT_EQ(formatted(bad), "error 87") << utf8(bad);
    NUMBERFMTW without_decimal = style(0, 1, 0, 1);
    without_decimal.lpDecimalSep = nullptr;
    for (const NUMBERFMTW& bad : {style(0, 1, 0, 5), without_decimal, style(0xFFFFFFFF, 1, 0, 1)})
        EXPECT_EQ(formatted(L"1.5", bad), "error 87");
    const NUMBERFMTW many = style(0x7FFFFFF0, 1, 0, 1);
    EXPECT_EQ(formatted(L"1.5", many), "error 122");
    EXPECT_EQ(GetNumberFormatW(user, 0, L"1.5", &many, nullptr, 0), 0x7FFFFFF0 + 3);
}

TEST_F(Locale, ConcurrentFirstUseGivesEveryThreadTheSame)
{
    // The locale of the process is another one; it is neither used nor changed.
    needs_locale("de_DE.UTF-8");
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    set_locale("en_US.UTF-8");
    std::vector<std::jthread> threads;
    std::vector<std::string> results(8);
    for (std::string& result : results)
        threads.emplace_back(
            [&result]
            {
                for (int i = 0; i < 50; ++i)
                    result = date(afternoon, L"dddd, d. MMMM ") + formatted(L"-1234.5");
            });
    threads.clear();
    EXPECT_EQ(results, std::vector<std::string>(8, "Friday, 5. March -1,234.50"));
    EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "de_DE.UTF-8");
}

// Pictures without any locale.

TEST(LocalePicture, StandsForTheStrftimeFormat)
{
    static constexpr std::pair<const char*, const char*> rows[] = {
        {"%e.%m.%y", "d.MM.yy"},
        {"%A, %d. %B %Y", "dddd, dd. MMMM yyyy"},
        {"%a, %Y.eko %bren %da", "ddd, yyyy'.eko 'MMM'ren 'dd'a'"},
        {"%d/%m/%Ey", "dd/MM/yyyy"},
        {"%T", "HH:mm:ss"},
        {"%l:%M:%S %P", "h:mm:ss tt"},
        {"%I:%M:%S %p %Z", "hh:mm:ss tt"},
        {"kl. %H.%M %z", "'kl. 'HH.mm"},
        {"%OC%Oy %b %Od", "yyyy MMM dd"},
        {"%C %y", "yy"},
        {"%Q%d", "dd"}};
    for (const auto& [format, picture] : rows)
        EXPECT_EQ(picture_from_format(format, ""), picture) << format;
    EXPECT_EQ(picture_from_format("%r", "%p %I.%M"), "tt hh.mm");
    EXPECT_EQ(picture_from_format("%r", "%r"), "") << "a format that means itself";
}

// Conversion by code page: lengths and terminators.

int narrow(const wchar_t* text, int length, char* out, int size)
{
    return WideCharToMultiByte(CP_ACP, 0, text, length, out, size, nullptr, nullptr);
}

int widen(const char* text, int length, wchar_t* out, int size)
{
    return MultiByteToWideChar(CP_UTF8, 0, text, length, out, size);
}

TEST(CodePage, LengthOfMinusOneTakesTheTerminatorAlongAndALengthIsTakenAsGiven)
{
    char bytes[64] = "#######";
    wchar_t wide[64];
    EXPECT_EQ(narrow(L"abc", 2, bytes, 8), 2);
    EXPECT_STREQ(bytes, "ab#####") << "no terminator is added";
    // ASCII has a fast path, which must switch to the general one at any position.
    for (size_t lead = 0; lead < 12; ++lead)
    {
        const std::string text = std::string(lead, 'x') + "\u00E4" + std::string(lead, 'y');
        const int units = widen(text.c_str(), -1, nullptr, 0);
        EXPECT_EQ(units, static_cast<int>(2 * lead + 2));
        EXPECT_EQ(widen(text.c_str(), -1, wide, units), units);
        const int size = narrow(wide, -1, nullptr, 0);
        EXPECT_EQ(narrow(wide, units, bytes, size), size);
        EXPECT_EQ(std::string(bytes, static_cast<size_t>(size)), text + '\0');
    }
}

} // namespace
