// The floating-point control word, added to the compiler's own header of this name.
#ifndef PLINTH_PLATFORM_FLOAT_H
#define PLINTH_PLATFORM_FLOAT_H

#pragma GCC system_header // allows #include_next
#include_next <float.h>

#include "windef.h"

#ifdef __cplusplus
extern "C"
{
#endif

#define _EM_INEXACT 0x00000001
#define _EM_UNDERFLOW 0x00000002
#define _EM_OVERFLOW 0x00000004
#define _EM_ZERODIVIDE 0x00000008
#define _EM_INVALID 0x00000010
#define _EM_DENORMAL 0x00080000
#define _MCW_EM 0x0008001F

    // Returns the calling thread's control word, after setting the bits in mask from value; a mask
    // of 0 changes nothing. A set bit masks its exception: the operation returns a result instead
    // of raising a signal. _controlfp leaves _EM_DENORMAL alone. Only the exception masks (_MCW_EM)
    // are supported; other bits are ignored and returned as 0.
    PLINTH_PLATFORM_API unsigned int _control87(unsigned int value, unsigned int mask);
    PLINTH_PLATFORM_API unsigned int _controlfp(unsigned int value, unsigned int mask);

#ifdef __cplusplus
}
#endif

#endif
