// Ending the process in order: what is registered for the exit runs, on the calling thread.
//
// exit() must run once. A second thread that wants to end the process waits for the end here; what
// comes here again from within the exit ends it at once.
#include <atomic>
#include <cstdlib>

#include <unistd.h>

#include "windows.h"

namespace
{

std::atomic<DWORD> g_exiting_thread{0};

} // namespace

extern "C" void ExitProcess(UINT exitCode)
{
    const DWORD self = GetCurrentThreadId();
    DWORD other = 0;
    if (g_exiting_thread.compare_exchange_strong(other, self))
        std::exit(static_cast<int>(exitCode));
    if (other == self)
        _exit(static_cast<int>(exitCode));
    for (;;)
        pause();
}
