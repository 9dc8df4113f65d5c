// The umbrella header, under the SDK's name. It contains types, constants and calls, but no text
// functions of the runtime: those come with <tchar.h>.
#ifndef PLINTH_PLATFORM_WINDOWS_H
#define PLINTH_PLATFORM_WINDOWS_H

#include "winbase.h"
#include "wincon.h"
#include "windef.h"
#include "winerror.h"
#include "wingdi.h"
#include "winnls.h"
#include "winnt.h"
#include "winreg.h"
#include "winsock_types.h"
#include "winuser.h"
#ifndef WIN32_LEAN_AND_MEAN
#include "mmsystem.h"
#include "rpc.h"
#include "shellapi.h"
#include "winver.h"
#endif

#endif
