// The end of a thread that was asked to end.
#pragma once

#include <windows.h>

// Waits at most so many milliseconds. False if the thread may still run: then it uses what it was
// given, which must not go before it is terminated.
bool QvAwaitThreadEnd(HANDLE thread, DWORD limit);
