// The user's locale item by item, and helpers shared by the locale functions.
#pragma once

#include <new>
#include <string>

#include "system/faults.h"
#include "system/last_error.h"
#include "winnls.h"

namespace platform
{

// The value of an item as UTF-8 text: the user's own from the registry if there is a valid one,
// else the environment's. type: one of the LOCALE_S or LOCALE_I numbers of winnls.h.
std::string locale_item(LCTYPE type);

// Passes UTF-8 text to a caller in the locale functions' way: returns the characters stored with
// the terminator; those needed if size is 0; 0 if the text doesn't fit, and then nothing is stored.
int give_text(const std::string& text, LPWSTR out, int size);

// The frame of every locale function: its fault point, the check of its locale and of its buffer,
// and the catching of exceptions.
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
