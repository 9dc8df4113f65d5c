// Smart cards: adapts the header of pcsc-lite, if that is installed, to the types of the stand-in.
//
// pcsc-lite has integers of 64 bits under names that mean 32 bits in the Windows interface. Here
// those have the names PCSC_DWORD and so on; variables that the library writes through a pointer
// must be declared with these names, and the compiler refuses anything else:
//
//     SCARDHANDLE card;
//     PCSC_DWORD protocol;
//     LONG result = SCardConnect(context, reader, SCARD_SHARE_SHARED, SCARD_PROTOCOL_ANY, &card,
//                                &protocol);
//
// Results are LONG, and compare with SCARD_S_SUCCESS and its kin as they do on Windows. The folder
// of this header must be searched before that of pcsc-lite.
#ifndef PLINTH_PLATFORM_WINSCARD_H
#define PLINTH_PLATFORM_WINSCARD_H
#pragma GCC system_header // #include_next is an extension

#include "winbase.h"

#define BOOL PCSC_BOOL
#define DWORD PCSC_DWORD
#define LONG PCSC_LONG
#define LPDWORD PCSC_LPDWORD
#define PDWORD PCSC_PDWORD
#define PULONG PCSC_PULONG
#define ULONG PCSC_ULONG
// Handles have that library's LONG; results may have any type that holds 32 bits.
#include <pcsclite.h>
#undef LONG
#include_next <winscard.h>
#undef BOOL
#undef DWORD
#undef LPDWORD
#undef PDWORD
#undef PULONG
#undef ULONG

// As in the library: all 64 bits.
#undef SCARD_AUTOALLOCATE
#define SCARD_AUTOALLOCATE ((PCSC_DWORD)(-1))
#define pcsc_stringify_error(result) pcsc_stringify_error((PCSC_LONG)(unsigned int)(result))

#endif
