// Ending the process in order: what is registered for the exit runs, on the calling thread.
//
// exit() must run once. A second thread that wants to end the process waits for the end here; what
// comes here again from within the exit ends it at once.
#include <atomic>
#include <cstdlib>

#include <unistd.h>

#include "system/fork.h"
#include "windows.h"

using namespace platform;

namespace
{

std::atomic<DWORD> g_exiting_thread{0};

// A fork from within the exit: the child is at it too, on its only thread.
bool g_exit_forks = false;
void note_exit()
{
    g_exit_forks = g_exiting_thread == GetCurrentThreadId();
}
void go_on_in_child()
{
    g_exiting_thread = g_exit_forks ? GetCurrentThreadId() : 0;
}

const AtFork g_at_fork(ForkStep::exit_process, {note_exit, nullptr, go_on_in_child});

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
