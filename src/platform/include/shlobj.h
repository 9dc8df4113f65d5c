// Shell: known folders.
#ifndef PLINTH_PLATFORM_SHLOBJ_H
#define PLINTH_PLATFORM_SHLOBJ_H

#include "winbase.h"

#ifdef __cplusplus
extern "C"
{
#endif

#define CSIDL_PERSONAL 0x0005
#define CSIDL_APPDATA 0x001a
#define CSIDL_LOCAL_APPDATA 0x001c
#define CSIDL_COMMON_APPDATA 0x0023
#define CSIDL_PROFILE 0x0028
#define CSIDL_COMMON_DOCUMENTS 0x002e

    // Fills a buffer of MAX_PATH characters, no separator at the end.
    PLINTH_PLATFORM_API HRESULT WINAPI SHGetFolderPathW(HWND owner, int folder, HANDLE token,
                                                        DWORD flags, LPWSTR path);

#ifdef __cplusplus
}
#endif

#endif
