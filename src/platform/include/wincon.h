// Control events of a console.
#ifndef PLINTH_PLATFORM_WINCON_H
#define PLINTH_PLATFORM_WINCON_H

#include "winbase.h"

#ifdef __cplusplus
extern "C"
{
#endif

#define CTRL_C_EVENT 0u     // SIGINT, by default Ctrl+C of the terminal
#define CTRL_BREAK_EVENT 1u // SIGQUIT, by default Ctrl+\ of the terminal

    // Called on a thread made for the event. Nonzero: the event is handled.
    typedef BOOL(WINAPI* PHANDLER_ROUTINE)(DWORD event);

    // Handlers are called in turn, the last one added first; if none handles the event, the signal
    // ends the process. A null handler: CTRL_C_EVENT is ignored from now on (add nonzero), also by
    // programs started from here, or no longer ignored (add zero).
    PLINTH_PLATFORM_API BOOL WINAPI SetConsoleCtrlHandler(PHANDLER_ROUTINE handler, BOOL add);

#ifdef __cplusplus
}
#endif

#endif
