// The user's settings, in the registry below HKEY_CURRENT_USER\Software\Acme\Keeper.
#pragma once

#include <string>

#include <windows.h>

struct Settings
{
    DWORD threads = 2;                // at work at the same time
    DWORD runs = 0;                   // including this one
    std::wstring skip = L".bak;.tmp"; // ends of names that are not copied

    // Reads the settings, counts this run, and writes all settings. ERROR_SUCCESS, or the error.
    LONG load_and_count();
    bool skips(const std::wstring& name) const;
};
