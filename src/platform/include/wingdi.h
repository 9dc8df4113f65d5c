// Drawing: nothing is drawn here, so this only has what window classes refer to.
#ifndef PLINTH_PLATFORM_WINGDI_H
#define PLINTH_PLATFORM_WINGDI_H

#include "windef.h"

#ifdef __cplusplus
extern "C"
{
#endif

#define WHITE_BRUSH 0

    // The stock objects live as long as the process. Null for an unknown number.
    PLINTH_PLATFORM_API HGDIOBJ WINAPI GetStockObject(int object);

#ifdef __cplusplus
}
#endif

#endif
