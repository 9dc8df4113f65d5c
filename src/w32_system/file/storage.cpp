// Where an application keeps its data.
#include <windows.h>

#include <shlobj.h>
#include <tchar.h>

#include "argument_check.h"
#include "file_internal.h"

namespace
{

constexpr const char* source_name = "src\\w32_system\\file\\file";

constexpr unsigned text_limit = 260; // characters of folder and user, terminated
constexpr unsigned path_limit = 264; // characters of the whole path, terminated

wchar_t s_storageFolder[text_limit] = L"Quorvane\\Default";
unsigned int s_knownFolder = CSIDL_COMMON_APPDATA;
wchar_t s_storageUser[text_limit];

void Store(wchar_t (&to)[text_limit], const wchar_t* from)
{
    wcsncpy(to, from ? from : L"", text_limit - 1);
    to[text_limit - 1] = L'\0';
}

// Appends a separator and a level. False if the path has no room for them.
bool AppendLevel(wchar_t (&path)[path_limit], const wchar_t* level)
{
    const size_t length = wcslen(path);
    if (length + 1 + wcslen(level) >= path_limit)
        return false;
    path[length] = L'\\';
    wcscpy(path + length + 1, level);
    return true;
}

} // namespace

extern "C" int QV_SetStorageFolder(const wchar_t* folder, unsigned int csidl)
{
    Store(s_storageFolder, folder);
    s_knownFolder = csidl;
    return QV_OK;
}

extern "C" int QV_SetStorageUser(const wchar_t* user)
{
    Store(s_storageUser, user);
    return QV_OK;
}

extern "C" const wchar_t* QV_GetStorageFolder(unsigned int* csidl)
{
    if (csidl)
        *csidl = s_knownFolder;
    return s_storageFolder;
}

extern "C" const wchar_t* QV_GetStorageUser(void)
{
    return s_storageUser;
}

extern "C" int QV_GetStoragePath(wchar_t* path, unsigned int size, bool withoutUser)
{
    wchar_t whole[path_limit] = L"";
    const HRESULT result =
        SHGetFolderPathW(nullptr, static_cast<int>(s_knownFolder), nullptr, 0, whole);
    if (result == E_INVALIDARG)
        return QvRefuse(QV_ERR_NULLPTR, L"result==E_INVALIDARG",
                        L"QV_GetStoragePath: Not a known folder.", source_name, __LINE__);
    if (FAILED(result) || !AppendLevel(whole, s_storageFolder))
        return QV_ERR_SYSTEM;
    if (!withoutUser && s_storageUser[0] && !AppendLevel(whole, s_storageUser))
        return QV_ERR_SYSTEM;
    wcsncpy(path, whole, size);
    return QV_OK;
}

extern "C" int QV_GetRootStoragePath(wchar_t* path, unsigned int size, bool withoutUser)
{
    wchar_t whole[path_limit] = L"";
    if (QV_GetStoragePath(whole, path_limit, withoutUser) != QV_OK)
        whole[0] = L'\0';
    if (wchar_t* const last = wcsrchr(whole, L'\\'))
        *last = L'\0';
    wcsncpy(path, whole, size); // pads with zeros up to size
    return QV_OK;
}
