#include "no_termination.h"

#include <csignal>

#include <sys/syscall.h>
#include <unistd.h>

#include "thread_state.h"

namespace platform
{

namespace
{

// In the static block of thread data, so that the signal handler may read them.
__attribute__((tls_model("initial-exec"))) thread_local volatile sig_atomic_t t_guards = 0;
__attribute__((tls_model("initial-exec"))) thread_local volatile sig_atomic_t t_put_off = 0;

} // namespace

void on_terminate(int)
{
    ThreadState* const state = t_state;
    // If the thread for which the signal was meant has ended, another one may have got its number.
    if (!state || !state->terminating.load())
        return;
    if (t_guards > 0) // the outermost guard ends the thread
    {
        t_put_off = 1;
        return;
    }
    state->end(state->terminated_with);
    ::syscall(SYS_exit, 0);
}

NoTermination::NoTermination()
{
    t_guards = t_guards + 1;
}

NoTermination::~NoTermination()
{
    t_guards = t_guards - 1;
    if (t_guards == 0 && t_put_off) [[unlikely]]
        on_terminate(0);
}

} // namespace platform
