// Version blocks of module files.
#ifndef PLINTH_PLATFORM_WINVER_H
#define PLINTH_PLATFORM_WINVER_H

#include "windef.h"

#ifdef __cplusplus
extern "C"
{
#endif

#define VS_FFI_SIGNATURE 0xFEEF04BDu

    typedef struct VS_FIXEDFILEINFO
    {
        DWORD dwSignature;
        DWORD dwStrucVersion;
        DWORD dwFileVersionMS;
        DWORD dwFileVersionLS;
        DWORD dwProductVersionMS;
        DWORD dwProductVersionLS;
        DWORD dwFileFlagsMask;
        DWORD dwFileFlags;
        DWORD dwFileOS;
        DWORD dwFileType;
        DWORD dwFileSubtype;
        DWORD dwFileDateMS;
        DWORD dwFileDateLS;
    } VS_FIXEDFILEINFO;

    // Bytes of the file's version block, 0 if it has none. handle, if not null, is set to 0.
    PLINTH_PLATFORM_API DWORD WINAPI GetFileVersionInfoSizeW(LPCWSTR path, LPDWORD handle);
    // The block, or its first size bytes.
    PLINTH_PLATFORM_API BOOL WINAPI GetFileVersionInfoW(LPCWSTR path, DWORD handle, DWORD size,
                                                        LPVOID block);
    // A value of a block from GetFileVersionInfoW: "\" for the fixed part, otherwise the keys on
    // the path to it. size: characters of a text, bytes of any other value.
    PLINTH_PLATFORM_API BOOL WINAPI VerQueryValueW(LPCVOID block, LPCWSTR path, LPVOID* value,
                                                   PUINT size);

#ifdef __cplusplus
}
static_assert(sizeof(VS_FIXEDFILEINFO) == 52);
#endif

#endif
