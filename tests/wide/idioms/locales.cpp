// Facets for wide text, by default and by name, and their users: regular expressions, dates,
// amounts.
#include "idioms.h"

#include <ctime>
#include <iomanip>
#include <iterator>
#include <locale>
#include <regex>
#include <sstream>
#include <string>

namespace
{

// The C library always has this locale beside "C". It knows the case of all letters.
const std::locale& utf8()
{
    static const std::locale named("C.UTF-8");
    return named;
}

struct Grouped : std::numpunct<wchar_t>
{
    wchar_t do_decimal_point() const override { return L','; }
    wchar_t do_thousands_sep() const override { return L'.'; }
    std::string do_grouping() const override { return "\3"; }
    std::wstring do_truename() const override { return L"ja"; }
};

struct NarrowGrouped : std::numpunct<char>
{
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '\''; }
    std::string do_grouping() const override { return "\3"; }
};

struct CommaIsSpace : std::ctype<wchar_t>
{
    bool do_is(mask bits, wchar_t c) const override
    {
        return (bits & space && c == L',') || std::ctype<wchar_t>::do_is(bits, c);
    }
    const wchar_t* do_scan_is(mask bits, const wchar_t* first, const wchar_t* last) const override
    {
        while (first < last && !do_is(bits, *first))
            ++first;
        return first;
    }
};

std::tm some_day()
{
    std::tm day{};
    day.tm_year = 126;
    day.tm_mon = 10;
    day.tm_mday = 26;
    day.tm_hour = 21;
    day.tm_wday = 4;
    return day;
}

const Idiom table[] = {
    {"use_facet of ctype",
     []
     {
         const auto& facet = std::use_facet<std::ctype<wchar_t>>(std::locale());
         wchar_t text[] = L"MiXed";
         facet.tolower(text, text + 5);
         return is(text, L"mixed") && facet.is(std::ctype_base::digit, L'7') &&
                facet.widen('x') == L'x' && facet.narrow(L'\u20ac', '?') == '?' &&
                std::has_facet<std::ctype<wchar_t>>(std::locale());
     }},
    {"std::isalpha, toupper with a locale",
     []
     {
         return std::toupper(L'\u00e9', utf8()) == L'\u00c9' && std::isalpha(L'\u00e9', utf8()) &&
                std::tolower(L'A', std::locale::classic()) == L'a' && std::isspace(L' ', utf8());
     }},
    {"imbue of a named locale",
     []
     {
         std::wostringstream out;
         out.imbue(utf8());
         out << 1234567 << L' ' << 1.5;
         std::wistringstream in(L"12 0.5");
         in.imbue(utf8());
         int a = 0;
         double b = 0;
         in >> a >> b;
         return is(out.str(), L"1234567 1.5") && a == 12 && b == 0.5;
     }},
    {"imbue of an own numpunct",
     []
     {
         const std::locale own(std::locale::classic(), new Grouped);
         std::wostringstream out;
         out.imbue(own);
         out << 1234567 << L' ' << 1.5 << L' ' << std::boolalpha << true;
         std::wistringstream in(L"1.234.567 0,25");
         in.imbue(own);
         int a = 0;
         double b = 0;
         in >> a >> b;
         return is(out.str(), L"1.234.567 1,5 ja") && a == 1234567 && b == 0.25;
     }},
    {"an own narrow numpunct is followed",
     []
     {
         std::wostringstream out;
         out.imbue(std::locale(std::locale::classic(), new NarrowGrouped));
         out << 1234567 << L' ' << 0.5;
         return is(out.str(), L"1'234'567 0,5");
     }},
    {"an own ctype parts words",
     []
     {
         std::wistringstream in(L"one,two");
         in.imbue(std::locale(in.getloc(), new CommaIsSpace));
         std::wstring first, second;
         in >> first >> second;
         return is(first, L"one") && is(second, L"two");
     }},
    {"collate and locale as an order",
     []
     {
         const auto& facet = std::use_facet<std::collate<wchar_t>>(std::locale::classic());
         const std::wstring a = L"apple", b = L"banana";
         return facet.compare(a.data(), a.data() + a.size(), b.data(), b.data() + b.size()) < 0 &&
                std::locale::classic()(a, b) && !std::locale::classic()(b, a) &&
                facet.transform(a.data(), a.data() + a.size()) <
                    facet.transform(b.data(), b.data() + b.size());
     }},
    {"put_time, get_time",
     []
     {
         const std::tm day = some_day();
         std::wostringstream out;
         out << std::put_time(&day, L"%Y-%m-%d %A %H");
         std::wistringstream in(L"2001-02-03 Monday");
         std::tm back{};
         in >> std::get_time(&back, L"%Y-%m-%d %A");
         return is(out.str(), L"2026-11-26 Thursday 21") && !in.fail() && back.tm_year == 101 &&
                back.tm_mon == 1 && back.tm_mday == 3;
     }},
    {"put_money, get_money",
     []
     {
         std::wostringstream out;
         out << std::put_money(12345.0L);
         std::wistringstream in(L"678");
         long double amount = 0;
         in >> std::get_money(amount);
         return is(out.str(), L"12345") && amount == 678;
     }},
    {"wregex match",
     []
     {
         const std::wregex date(L"(\\d{4})-(\\d{2})-(\\d{2})");
         std::wsmatch parts;
         const std::wstring text = L"on 2026-11-26, \u20ac 5";
         return std::regex_search(text, parts, date) && is(parts[1].str(), L"2026") &&
                is(parts.prefix().str(), L"on ") && std::regex_match(L"2001-01-01", date);
     }},
    {"wregex replace and iterate",
     []
     {
         const std::wregex word(L"[a-z\u00e0-\u00ff]+", std::regex::icase);
         const std::wstring text = L"Un d\u00e9jeuner, ici";
         const std::wsregex_iterator first(text.begin(), text.end(), word);
         const std::wregex comma(L",\\s*");
         const std::wsregex_token_iterator token(text.begin(), text.end(), comma, -1);
         return std::distance(first, {}) == 3 && is(token->str(), L"Un d\u00e9jeuner") &&
                is(std::regex_replace(text, std::wregex(L"\\s"), L"_$&"),
                   L"Un_ d\u00e9jeuner,_ ici");
     }},
    {"wregex classes",
     []
     {
         return std::regex_match(L"abc 123\t",
                                 std::wregex(L"[[:alpha:]]+\\s[[:digit:]]+[[:space:]]")) &&
                !std::regex_match(L"\u20ac", std::wregex(L"\\w"));
     }},
    {"the global locale",
     []
     {
         const std::locale before = std::locale::global(utf8());
         std::wostringstream out;
         out << 1000000 << std::use_facet<std::numpunct<wchar_t>>(std::locale()).decimal_point();
         std::locale::global(before);
         return is(out.str(), L"1000000.");
     }},
};

} // namespace

Idioms locale_idioms()
{
    return {table, std::size(table)};
}
