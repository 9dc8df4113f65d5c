// Access control lists.
#ifndef PLINTH_PLATFORM_ACLAPI_H
#define PLINTH_PLATFORM_ACLAPI_H

#include "accctrl.h"
#include "winbase.h"

#ifdef __cplusplus
extern "C"
{
#endif

    // Returns in *result a list that the caller frees with LocalFree; 0 is success.
    PLINTH_PLATFORM_API DWORD WINAPI SetEntriesInAclW(ULONG count, PEXPLICIT_ACCESS_W entries,
                                                      PACL oldList, PACL* result);

#ifdef __cplusplus
}
#endif

#endif
