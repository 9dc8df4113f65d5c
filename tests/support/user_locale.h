// The user's locale for a test: the environment of this process, and single items in the registry
// of the test's own machine. Linux only, as Windows ignores these variables.
#pragma once

#include <cstdlib>

#include <gtest/gtest.h>

#include <windows.h>

#include "support/needs.h"
#include "support/wide_text.h"

namespace test
{

// Sets all categories.
inline void set_locale(const char* name)
{
    needs_locale(name);
    setenv("LC_ALL", name, 1);
}
// Sets a locale that doesn't exist, as a user may by mistake.
inline void set_unknown_locale(const char* name)
{
    setenv("LC_ALL", name, 1);
}

inline LONG set_user_value(const wchar_t* name, DWORD type, const void* data, size_t size)
{
    HKEY key = nullptr;
    LONG result = RegCreateKeyW(HKEY_CURRENT_USER, L"Control Panel\\International", &key);
    if (result != static_cast<LONG>(ERROR_SUCCESS))
        return result;
    result = RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data),
                            static_cast<DWORD>(size));
    RegCloseKey(key);
    return result;
}

// Sets an item of "Control Panel\International".
inline void set_user_text(const wchar_t* name, const Wide& text)
{
    ASSERT_EQ(set_user_value(name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t)),
              static_cast<LONG>(ERROR_SUCCESS));
}

} // namespace test
