// The globally unique identifier.
#ifndef PLINTH_PLATFORM_GUIDDEF_H
#define PLINTH_PLATFORM_GUIDDEF_H

#include "windef.h"

typedef struct GUID
{
    DWORD Data1;
    WORD Data2;
    WORD Data3;
    BYTE Data4[8];
} GUID;

#ifdef __cplusplus
static_assert(sizeof(GUID) == 16);
#endif

#endif
