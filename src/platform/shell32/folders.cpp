// Known folders.
#include <string>

#include <windows.h>

#include <shlobj.h>

#include "kernel32/file/path.h"
#include "system/calls.h"
#include "system/environment.h"
#include "system/root.h"
#include "system/text.h"

using namespace platform;

namespace
{

// The folder of a variable of the desktop's base directories, else a folder of the user's home.
std::string base_folder(const char* variable, const char* below_home)
{
    const char* const value = environment(variable);
    return value && *value == '/' ? value : home_folder() + "/" + below_home;
}

std::string common_data()
{
    std::string path = root_folder() + "/ProgramData";
    sys::mkdir(path.c_str(), 0777);
    return path;
}

// Native path, empty if the number is no known folder.
std::string folder_of(int number)
{
    switch (number)
    {
    case CSIDL_COMMON_APPDATA:
        return common_data();
    case CSIDL_COMMON_DOCUMENTS:
        return common_data() + "/Documents";
    case CSIDL_APPDATA:
        return base_folder("XDG_CONFIG_HOME", ".config");
    case CSIDL_LOCAL_APPDATA:
        return base_folder("XDG_DATA_HOME", ".local/share");
    case CSIDL_PERSONAL:
        return base_folder("XDG_DOCUMENTS_DIR", "Documents");
    case CSIDL_PROFILE:
        return home_folder();
    default:
        return "";
    }
}

} // namespace

extern "C" HRESULT SHGetFolderPathW(HWND, int folder, HANDLE, DWORD, LPWSTR path)
{
    constexpr int folder_mask = 0xFF; // the bits above are options
    path[0] = L'\0';
    try
    {
        const std::string native = folder_of(folder & ~0xFF00 & folder_mask);
        if (native.empty() || (folder & ~0xFFFF) != 0 || (folder & 0x7F00) != 0)
            return E_INVALIDARG;
        return copy_to_caller(windows_path(native), path, MAX_PATH) < MAX_PATH ? S_OK : E_FAIL;
    }
    catch (const std::bad_alloc&)
    {
        return E_OUTOFMEMORY;
    }
}
