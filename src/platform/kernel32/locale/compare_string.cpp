// Compares narrow texts (UTF-8) by character, with or without regard to case.
#include <cstring>
#include <new>
#include <string>

#include "system/exception_guard.h"
#include "system/last_error.h"
#include "system/text.h"
#include "windows.h"

using namespace platform;

namespace
{

// In units of 16 bits, folded as names are if case doesn't count.
std::u16string units_of(LPCSTR text, int length, bool folds)
{
    const size_t bytes = length < 0 ? std::strlen(text) : static_cast<size_t>(length);
    std::u16string units(wide_from_utf8(text, bytes, nullptr, 0), u'\0');
    wide_from_utf8(text, bytes, reinterpret_cast<wchar_t*>(units.data()), units.size());
    if (folds)
        for (char16_t& unit : units)
            unit = static_cast<char16_t>(fold_case(static_cast<wchar_t>(unit)));
    return units;
}

// Compares terminated texts as far as they are ASCII, which decides for most. False if it doesn't.
bool compare_ascii(LPCSTR first, LPCSTR second, bool folds, int& order)
{
    for (;; ++first, ++second)
    {
        if (((*first | *second) & 0x80) != 0)
            return false;
        const auto left = static_cast<wchar_t>(*first);
        const auto right = static_cast<wchar_t>(*second);
        order = folds ? fold_case(left) - fold_case(right) : left - right;
        if (order != 0 || left == 0)
            return true;
    }
}

int order_of(LPCSTR first, int first_length, LPCSTR second, int second_length, bool folds)
{
    int order = 0;
    if (first_length < 0 && second_length < 0 && compare_ascii(first, second, folds, order))
        return order;
    return units_of(first, first_length, folds).compare(units_of(second, second_length, folds));
}

} // namespace

// The locale makes no difference: characters have one order and one folding.
extern "C" int CompareStringA(LCID, DWORD flags, LPCSTR first, int first_length, LPCSTR second,
                              int second_length)
{
    if (!first || !second)
        return fail_with(ERROR_INVALID_PARAMETER);
    if (flags & ~NORM_IGNORECASE)
        return fail_with(ERROR_INVALID_FLAGS);
    try
    {
        const bool folds = (flags & NORM_IGNORECASE) != 0;
        const int order = order_of(first, first_length, second, second_length, folds);
        return order < 0 ? CSTR_LESS_THAN : order > 0 ? CSTR_GREATER_THAN : CSTR_EQUAL;
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, FALSE);
    }
}
