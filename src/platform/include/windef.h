// Basic types of the Windows interface, with the sizes of the 64-bit SDK: DWORD and LONG have
// 32 bits here too, and WCHAR is a 16-bit wchar_t (compile with -fshort-wchar).
#ifndef PLINTH_PLATFORM_WINDEF_H
#define PLINTH_PLATFORM_WINDEF_H

#include <stddef.h>
#include <stdint.h>

// Other libraries define some of these names with other sizes; plinth's own headers of those
// libraries' names adapt them.
#if (defined(__wintypes_h__) && !defined(PLINTH_PLATFORM_WINSCARD_H)) ||                           \
    (defined(__SQLTYPES_H) && !defined(PLINTH_PLATFORM_SQL_TYPES_H))
#error "put the folder of plinth's headers before those of pcsc-lite and unixODBC (option -I)"
#endif

#if defined(__GNUC__)
#define PLINTH_PLATFORM_API __attribute__((visibility("default")))
#else
#define PLINTH_PLATFORM_API
#endif

#define PLINTH_PLATFORM_NORETURN PLINTH_PLATFORM_API __attribute__((noreturn))

#define WINAPI
#define CALLBACK
#define APIENTRY
#ifndef __cdecl
#define __cdecl
#endif
#ifndef __stdcall
#define __stdcall
#endif

typedef int BOOL;
typedef unsigned char BYTE;
typedef unsigned char BOOLEAN;
typedef unsigned char UCHAR;
typedef unsigned short WORD;
typedef unsigned short USHORT;
typedef short SHORT;
typedef unsigned int DWORD;
typedef unsigned int UINT;
typedef unsigned int ULONG;
typedef int INT;
typedef int LONG;
typedef long long LONGLONG;
typedef unsigned long long ULONGLONG;
typedef unsigned long long DWORD64;
typedef long long INT64;
typedef unsigned long long UINT64;
typedef float FLOAT;
typedef char CHAR;
typedef wchar_t WCHAR;
typedef uintptr_t ULONG_PTR;
typedef uintptr_t UINT_PTR;
typedef uintptr_t DWORD_PTR;
typedef DWORD_PTR* PDWORD_PTR;
typedef intptr_t LONG_PTR;
typedef intptr_t INT_PTR;
typedef ULONG_PTR SIZE_T;
typedef UINT_PTR WPARAM;
typedef LONG_PTR LPARAM;
typedef LONG_PTR LRESULT;
typedef LONG HRESULT;
typedef void* PVOID;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef char* LPSTR;
typedef const char* LPCSTR;
typedef wchar_t* LPWSTR;
typedef wchar_t* PWSTR;
typedef const wchar_t* LPCWSTR;
typedef const wchar_t* PCWSTR;
typedef BYTE* LPBYTE;
typedef BYTE* PBYTE;
typedef DWORD* LPDWORD;
typedef DWORD* PDWORD;
typedef LONG* PLONG;
typedef LONG* LPLONG;
typedef UINT* PUINT;
typedef BOOL* LPBOOL;
typedef void* HANDLE;
typedef HANDLE* PHANDLE;
typedef DWORD LCID;
typedef HANDLE HLOCAL;
typedef HANDLE HGLOBAL;

#define DECLARE_HANDLE(name)                                                                       \
    struct name##__                                                                                \
    {                                                                                              \
        int unused;                                                                                \
    };                                                                                             \
    typedef struct name##__* name

DECLARE_HANDLE(HINSTANCE);
typedef HINSTANCE HMODULE;
DECLARE_HANDLE(HWND);
DECLARE_HANDLE(HKEY);
DECLARE_HANDLE(HRSRC);
DECLARE_HANDLE(HICON);
DECLARE_HANDLE(HMENU);
DECLARE_HANDLE(HBRUSH);
typedef HICON HCURSOR;
typedef HANDLE HGDIOBJ;
typedef WORD ATOM;
typedef HKEY* PHKEY;

typedef INT_PTR(WINAPI* FARPROC)();

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif
#define MAX_PATH 260

typedef struct POINT
{
    LONG x;
    LONG y;
} POINT, *LPPOINT;

typedef struct RECT
{
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
} RECT, *LPRECT;

#define MAKEWORD(low, high) ((WORD)(((BYTE)(low)) | ((WORD)((BYTE)(high))) << 8))
#define MAKELONG(low, high) ((LONG)(((WORD)(low)) | ((DWORD)((WORD)(high))) << 16))
#define LOBYTE(value) ((BYTE)((DWORD_PTR)(value)&0xff))
#define HIBYTE(value) ((BYTE)(((DWORD_PTR)(value) >> 8) & 0xff))
#define MAKELPARAM(low, high) ((LPARAM)(DWORD)MAKELONG(low, high))
#define LOWORD(value) ((WORD)((DWORD_PTR)(value)&0xffff))
#define HIWORD(value) ((WORD)(((DWORD_PTR)(value) >> 16) & 0xffff))

// Unlike a macro, a constant doesn't replace text in other libraries' headers.
#ifdef __cplusplus
#define PLINTH_CONSTANT(name, value) inline constexpr DWORD name = value
#else
#define PLINTH_CONSTANT(name, value)                                                               \
    enum                                                                                           \
    {                                                                                              \
        name = value                                                                               \
    }
#endif

#ifdef __cplusplus
static_assert(
    sizeof(wchar_t) == 2,
    "plinth needs a 16-bit wchar_t: compile with -fshort-wchar (linking to the CMake target "
    "plinth::w32_system, or using the flags of its pkg-config file, adds it)");
static_assert(sizeof(DWORD) == 4 && sizeof(LONG) == 4 && sizeof(void*) == 8);
#endif

#endif
