// What every part of the interface stands on: the SDK's types, a 16-bit wchar_t, and the mark
// of what the library exports.
#ifndef PLINTH_W32_SYSTEM_BASE_H
#define PLINTH_W32_SYSTEM_BASE_H

#include <windows.h>

#include <rpc.h>

#ifndef _WINSOCKAPI_ // <windows.h> brings the socket records, but for WIN32_LEAN_AND_MEAN
#include <winsock.h>
#endif

#include <plinth_w32_pthreadVC.h>

static_assert(sizeof(wchar_t) == 2,
              "plinth_w32_system uses a 16-bit wchar_t: compile with -fshort-wchar. Linking to the "
              "CMake target plinth::w32_system, or the flags of its pkg-config file, adds it.");

// Marks what the library exports.
#if defined(_WIN32)
#if defined(PLINTH_W32_SYSTEM_BUILD)
#define QV_API __declspec(dllexport)
#else
#define QV_API __declspec(dllimport)
#endif
#else
#define QV_API __attribute__((visibility("default")))
#endif

#endif
