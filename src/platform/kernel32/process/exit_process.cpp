// Ending the process in order: registered exit functions run, on the calling thread.
//
// exit() must run once. A second thread that wants to end the process waits here until it has
// ended; a second call from within the exit ends the process at once.
#include <atomic>
#include <cstdlib>

#include <unistd.h>

#include "system/fork.h"
#include "windows.h"

using namespace platform;

namespace
{

std::atomic<DWORD> g_exiting_thread{0};

// For a fork from within the exit: the child then is in the exit too, on its only thread.
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

extern "C" void ExitProcess(UINT exit_code)
{
    const DWORD self = GetCurrentThreadId();
    DWORD other = 0;
    if (g_exiting_thread.compare_exchange_strong(other, self))
        std::exit(static_cast<int>(exit_code));
    if (other == self)
        _exit(static_cast<int>(exit_code));
    for (;;)
        pause();
}
