// The end of a thread that was asked to end.
#pragma once

#include <windows.h>

// Waits at most so many milliseconds for a thread that was asked to end, then terminates it. The
// thread uses what it was given until it has ended, and a termination only starts the end: that is
// waited for too, for a second at most.
void QvEndThread(HANDLE thread, DWORD limit, DWORD exitCode);
