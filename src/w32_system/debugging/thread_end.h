// The end of a thread that was asked to end.
//
// Where the library is being unloaded, that thread can't end in the usual way: it would need the
// loader's lock, which the one that waits for it holds. It terminates itself then. That takes no
// lock, and whoever sees the thread's end knows that it is in no code of the library any more. (A
// reference to the module is no help: taking one needs the same lock, and one that was taken
// earlier would keep the library loaded.)
#pragma once

#include <windows.h>

// Waits at most so many milliseconds for a thread that was asked to end, then terminates it. The
// thread uses what it was given until it has ended, and a termination only starts the end: that is
// waited for too, for a second at most.
void QvEndThread(HANDLE thread, DWORD limit, DWORD exitCode);

// The last call of such a thread: nothing of it may be left but to return. Returns unless the
// library is being unloaded.
void QvLeaveThread();
