// The user's locale item by item, and what the functions of the locale share.
#pragma once

#include <new>
#include <string>

#include "system/faults.h"
#include "system/last_error.h"
#include "winnls.h"

namespace platform
{

// The value of an item as UTF-8 text: the user's own from the registry if there is a sound one,
// else the environment's. type: one of the LOCALE_S or LOCALE_I numbers of winnls.h.
std::string locale_item(LCTYPE type);

// Gives UTF-8 text to a caller in the locale functions' way: the characters stored with the
// terminator; those needed if size is 0; 0 if it doesn't fit, and nothing is stored then.
int give_text(const std::string& text, LPWSTR out, int size);

// What every function of the locale begins with and ends in: its fault point, the one locale it
// knows, a buffer for its size, and no exception.
template <class Call>
int with_locale(const char* name, LCID locale, const wchar_t* out, int size, Call call)
{
    int error = 0;
    if (api_fault(name, error))
        return fail_with(static_cast<DWORD>(error));
    if (locale != LOCALE_USER_DEFAULT || size < 0 || (size > 0 && !out))
        return fail_with(ERROR_INVALID_PARAMETER);
    try
    {
        return call();
    }
    catch (const std::bad_alloc&)
    {
        return fail_with(ERROR_NOT_ENOUGH_MEMORY);
    }
}

} // namespace platform
