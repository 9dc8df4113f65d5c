// What every part of the interface needs: the SDK's types, a 16-bit wchar_t, and the mark of
// exported names.
#ifndef PLINTH_W32_SYSTEM_BASE_H
#define PLINTH_W32_SYSTEM_BASE_H

#include <windows.h>

#include <rpc.h>

#ifndef _WINSOCKAPI_ // <windows.h> includes the socket records, unless WIN32_LEAN_AND_MEAN is set
#include <winsock.h>
#endif

// A lock of the threads module. Its operations are in <plinth_w32_pthreadVC.h>, which is not
// included here: it needs POSIX headers, which not every compiler has.
typedef struct pthread_mutexCS_t_* pthread_mutexCS_t;

static_assert(sizeof(wchar_t) == 2,
              "plinth_w32_system uses a 16-bit wchar_t: compile with -fshort-wchar. Linking to the "
              "CMake target plinth::w32_system, or the flags of its pkg-config file, adds it.");

// Marks the exported names of the library.
#if defined(_WIN32)
#if defined(PLINTH_W32_SYSTEM_BUILD)
#define QV_API __declspec(dllexport)
#else
#define QV_API __declspec(dllimport)
#endif
#else
#define QV_API __attribute__((visibility("default")))
#endif

// Room in a class for an object of the C library that only the library creates, uses and destroys.
template <unsigned bytes> struct alignas(8) QvRoomFor
{
    unsigned char room[bytes]; // the object
};

#endif
