// Numbers in the user's form: digits are handled as text, so that none is lost.
#include <string_view>

#include "locale_item.h"
#include "system/text.h"

using namespace platform;

namespace
{

// The digits of a plain number such as "-1234.5".
struct Digits
{
    bool negative = false;
    std::string whole; // no leading zeros
    std::string fraction;
};

bool read_digits(LPCWSTR text, Digits& result)
{
    if (!text)
        return false;
    result.negative = *text == L'-';
    text += result.negative;
    bool any = false;
    std::string* part = &result.whole;
    for (; *text; ++text)
        if (*text == L'.' && part == &result.whole)
            part = &result.fraction;
        else if (*text < L'0' || *text > L'9')
            return false;
        else
        {
            any = true;
            if (part == &result.fraction || !part->empty() || *text != L'0')
                *part += static_cast<char>(*text);
        }
    return any;
}

// Cuts the fraction to a number of digits; a half is rounded away from zero.
void round_digits(Digits& digits, size_t count)
{
    if (digits.fraction.size() <= count)
        return;
    bool carry = digits.fraction[count] >= '5';
    digits.fraction.resize(count);
    for (std::string* part : {&digits.fraction, &digits.whole})
        for (size_t at = part->size(); carry && at-- > 0;)
        {
            carry = (*part)[at] == '9';
            (*part)[at] = carry ? '0' : static_cast<char>((*part)[at] + 1);
        }
    if (carry)
        digits.whole.insert(digits.whole.begin(), '1');
}

// Puts the separator between the groups. Each decimal digit of grouping is the size of a group, the
// leftmost first; the last one repeats, unless it is a zero.
void group_digits(std::string& whole, unsigned grouping, const std::string& separator)
{
    const std::string sizes = std::to_string(grouping);
    size_t end = whole.size();
    for (size_t i = 0; sizes[i] != '0'; i += i + 1 < sizes.size())
    {
        const auto size = static_cast<size_t>(sizes[i] - '0');
        if (end <= size)
            break;
        end -= size;
        whole.insert(end, separator);
    }
}

// "3;2;0" is 32, "3;0" is 3, and "3", which groups only once, is 30. 0 if the text is no grouping.
unsigned grouping_number(const std::string& text)
{
    unsigned number = 0;
    for (size_t i = 0; i < text.size(); ++i)
        if (i % 2 == 0 ? text[i] < '0' || text[i] > '9' : text[i] != ';')
            return 0;
        else if (i % 2 == 0)
            number = number * 10 + static_cast<unsigned>(text[i] - '0');
    const bool goes_on = text.size() > 1 && text.back() == '0';
    return goes_on ? number / 10 : number * 10;
}

struct Style
{
    unsigned digits;
    bool leading_zero;
    unsigned grouping;
    std::string decimal;
    std::string thousand;
    unsigned negative_order;
};

unsigned item_number(LCTYPE type)
{
    return static_cast<unsigned>(locale_item(type)[0] - '0');
}

Style users_style()
{
    return {item_number(LOCALE_IDIGITS),
            item_number(LOCALE_ILZERO) != 0,
            grouping_number(locale_item(LOCALE_SGROUPING)),
            locale_item(LOCALE_SDECIMAL),
            locale_item(LOCALE_STHOUSAND),
            item_number(LOCALE_INEGNUMBER)};
}

bool callers_style(const NUMBERFMTW& format, Style& result)
{
    if (format.LeadingZero > 1 || format.NegativeOrder > 4 || !format.lpDecimalSep ||
        !format.lpThousandSep)
        return false;
    result = {format.NumDigits,
              format.LeadingZero != 0,
              format.Grouping,
              to_utf8(format.lpDecimalSep),
              to_utf8(format.lpThousandSep),
              format.NegativeOrder};
    return true;
}

// A number as text. A run of zeros, which may be longer than memory, is only counted.
struct Text
{
    std::string front;
    size_t zeros;
    std::string back;
};

Text form_number(Digits digits, const Style& style)
{
    round_digits(digits, style.digits);
    const bool zero =
        digits.whole.empty() && digits.fraction.find_first_not_of('0') == std::string::npos;
    const size_t zeros = style.digits - digits.fraction.size();
    if (digits.whole.empty() && (style.leading_zero || style.digits == 0))
        digits.whole = "0";
    group_digits(digits.whole, style.grouping, style.thousand);
    if (style.digits != 0)
        digits.whole += style.decimal + digits.fraction;

    // A number that rounds to zero has no sign.
    if (!digits.negative || zero)
        return {digits.whole, zeros, ""};
    const std::string sign = locale_item(LOCALE_SNEGATIVESIGN);
    switch (style.negative_order)
    {
    case 0:
        return {"(" + digits.whole, zeros, ")"};
    case 1:
        return {sign + digits.whole, zeros, ""};
    case 2:
        return {sign + " " + digits.whole, zeros, ""};
    case 3:
        return {digits.whole, zeros, sign};
    default:
        return {digits.whole, zeros, " " + sign};
    }
}

int give_number(const Text& text, LPWSTR out, int size)
{
    const size_t front = wide_from_utf8(text.front.data(), text.front.size(), nullptr, 0);
    const size_t back = wide_from_utf8(text.back.data(), text.back.size(), nullptr, 0);
    const size_t length = front + text.zeros + back;
    if (length >= INT32_MAX)
        return fail_with(ERROR_INVALID_PARAMETER);
    if (size != 0)
    {
        if (length >= static_cast<size_t>(size))
            return fail_with(ERROR_INSUFFICIENT_BUFFER);
        wide_from_utf8(text.front.data(), text.front.size(), out, front);
        for (size_t i = 0; i < text.zeros; ++i)
            out[front + i] = L'0';
        wide_from_utf8(text.back.data(), text.back.size(), out + front + text.zeros, back);
        out[length] = L'\0';
    }
    return static_cast<int>(length + 1);
}

} // namespace

extern "C" int GetNumberFormatW(LCID locale, DWORD flags, LPCWSTR value, const NUMBERFMTW* format,
                                LPWSTR out, int size)
{
    return with_locale("GetNumberFormatW", locale, out, size,
                       [=]
                       {
                           if (flags != 0)
                               return static_cast<int>(fail_with(ERROR_INVALID_FLAGS));
                           Digits digits;
                           Style style;
                           if (!read_digits(value, digits) ||
                               (format && !callers_style(*format, style)))
                               return static_cast<int>(fail_with(ERROR_INVALID_PARAMETER));
                           if (!format)
                               style = users_style();
                           return give_number(form_number(std::move(digits), style), out, size);
                       });
}
