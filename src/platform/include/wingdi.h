// Drawing: nothing is drawn here, so this is what window classes name.
#ifndef PLINTH_PLATFORM_WINGDI_H
#define PLINTH_PLATFORM_WINGDI_H

#include "windef.h"

#ifdef __cplusplus
extern "C"
{
#endif

#define WHITE_BRUSH 0

    // The stock objects live as long as the process. Null for a number that is none.
    PLINTH_PLATFORM_API HGDIOBJ WINAPI GetStockObject(int object);

#ifdef __cplusplus
}
#endif

#endif
