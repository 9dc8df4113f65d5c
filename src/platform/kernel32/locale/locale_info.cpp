// The items of the user's locale. A registry value below HKEY_CURRENT_USER overrides the
// environment's; each item is looked up separately, at each call.
#include <algorithm>
#include <cstring>
#include <string_view>

#include "locale_data.h"
#include "locale_item.h"
#include "locale_picture.h"
#include "system/text.h"
#include "winreg.h"

using namespace platform;

namespace
{

struct Item
{
    LCTYPE type;
    const wchar_t* value; // of the registry
    size_t limit;         // most characters of a text
    int highest;          // the highest value of a number, the lowest is 0; no_number: a text
    std::string (*from_environment)();
};

constexpr int no_number = -1;

// The shape follows the current picture, which may be the user's own.
DateShape current_date_shape()
{
    return date_shape(locale_item(LOCALE_SSHORTDATE));
}

TimeShape current_time_shape()
{
    return time_shape(locale_item(LOCALE_STIMEFORMAT));
}

std::string digit(bool one)
{
    return one ? "1" : "0";
}

// The C library's locales don't define how many decimals are shown, whether a zero leads, or where
// the sign of a plain number is. Numbers are printed as the C functions do.
constexpr Item items[] = {
    {LOCALE_SDECIMAL, L"sDecimal", 3, no_number, [] { return locale_data()->decimal; }},
    {LOCALE_STHOUSAND, L"sThousand", 3, no_number, [] { return locale_data()->thousand; }},
    {LOCALE_SGROUPING, L"sGrouping", 9, no_number, [] { return locale_data()->grouping; }},
    {LOCALE_IDIGITS, L"iDigits", 1, 9, [] { return std::string("2"); }},
    {LOCALE_ILZERO, L"iLZero", 1, 1, [] { return std::string("1"); }},
    {LOCALE_INEGNUMBER, L"iNegNumber", 1, 4, [] { return std::string("1"); }},
    {LOCALE_SNEGATIVESIGN, L"sNegativeSign", 4, no_number, [] { return std::string("-"); }},
    {LOCALE_SSHORTDATE, L"sShortDate", 79, no_number, [] { return locale_data()->short_date; }},
    {LOCALE_SDATE, L"sDate", 3, no_number, [] { return current_date_shape().separator; }},
    {LOCALE_IDATE, L"iDate", 1, 2, [] { return std::to_string(current_date_shape().order); }},
    {LOCALE_STIMEFORMAT, L"sTimeFormat", 79, no_number, [] { return locale_data()->time; }},
    {LOCALE_STIME, L"sTime", 3, no_number, [] { return current_time_shape().separator; }},
    {LOCALE_ITIME, L"iTime", 1, 1, [] { return digit(current_time_shape().hours24); }},
    {LOCALE_ITIMEMARKPOSN, L"iTimePrefix", 1, 1,
     [] { return digit(current_time_shape().mark_first); }},
    {LOCALE_S1159, L"s1159", 14, no_number, [] { return locale_data()->am; }},
    {LOCALE_S2359, L"s2359", 14, no_number, [] { return locale_data()->pm; }},
};

const Item* find_item(LCTYPE type)
{
    const Item* const found = std::find_if(std::begin(items), std::end(items),
                                           [type](const Item& item) { return item.type == type; });
    return found == std::end(items) ? nullptr : found;
}

// The user's own value. False if there is none, or one that is not valid for the item.
bool from_registry(const Item& item, std::string& result)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, L"Control Panel\\International", 0, KEY_READ, &key) !=
        static_cast<LONG>(ERROR_SUCCESS))
        return false;
    wchar_t text[128] = {};
    DWORD type = 0;
    DWORD size = sizeof text - sizeof *text; // so that it is always terminated
    const LONG error =
        RegQueryValueExW(key, item.value, nullptr, &type, reinterpret_cast<LPBYTE>(text), &size);
    RegCloseKey(key);
    if (error != static_cast<LONG>(ERROR_SUCCESS) || type != REG_SZ)
        return false;
    const size_t length = wide_length(text);
    if (length > item.limit)
        return false;
    if (item.highest != no_number &&
        (length != 1 || text[0] < L'0' || text[0] > L'0' + item.highest))
        return false;
    // Without a mark between its whole and its fraction a number would be read as another number.
    if (item.type == LOCALE_SDECIMAL && length == 0)
        return false;
    result = to_utf8(text, length);
    return true;
}

int give_number(const std::string& text, LPWSTR out, int size)
{
    constexpr int units = sizeof(DWORD) / sizeof(wchar_t);
    if (size == 0)
        return units;
    if (size < units)
        return fail_with(ERROR_INSUFFICIENT_BUFFER);
    const auto number = static_cast<DWORD>(text[0] - '0');
    std::memcpy(out, &number, sizeof number);
    return units;
}

} // namespace

namespace platform
{

std::string locale_item(LCTYPE type)
{
    const Item* const item = find_item(type);
    std::string result;
    if (item && !from_registry(*item, result))
        result = item->from_environment();
    return result;
}

int give_text(const std::string& text, LPWSTR out, int size)
{
    const size_t needed = wide_from_utf8(text.data(), text.size(), nullptr, 0) + 1;
    if (needed > INT32_MAX)
        return fail_with(ERROR_INVALID_PARAMETER);
    if (size != 0)
    {
        if (needed > static_cast<size_t>(size))
            return fail_with(ERROR_INSUFFICIENT_BUFFER);
        wide_from_utf8(text.data(), text.size(), out, needed - 1);
        out[needed - 1] = L'\0';
    }
    return static_cast<int>(needed);
}

} // namespace platform

extern "C" int GetLocaleInfoW(LCID locale, LCTYPE type, LPWSTR out, int size)
{
    return with_locale("GetLocaleInfoW", locale, out, size,
                       [=]
                       {
                           const bool number = type & LOCALE_RETURN_NUMBER;
                           const LCTYPE plain = type & ~LOCALE_RETURN_NUMBER;
                           const Item* const item = find_item(plain);
                           if (!item || (number && item->highest == no_number))
                               return static_cast<int>(fail_with(ERROR_INVALID_FLAGS));
                           const std::string text = locale_item(plain);
                           return number ? give_number(text, out, size)
                                         : give_text(text, out, size);
                       });
}
