#include "config_folder.h"

#include <windows.h>

#include "text.h"

namespace trace
{

std::string config_folder()
{
    const DWORD size = GetEnvironmentVariableW(L"APPDATA", nullptr, 0);
    if (size == 0)
        return {};
    WideText folder(size);
    GetEnvironmentVariableW(L"APPDATA", folder.data(), size);
    return utf8_from_wide(folder.data()) + "\\plinth";
}

} // namespace trace
