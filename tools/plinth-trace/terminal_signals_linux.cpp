#include "terminal_signals_linux.h"

#include <unistd.h>

namespace trace
{

void set_handler(int signal, void (*handler)(int))
{
    struct sigaction action
    {
    };
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

void raise_default(int signal)
{
    set_handler(signal, SIG_DFL);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, signal);
    raise(signal);
    sigprocmask(SIG_UNBLOCK, &only, nullptr); // now it comes
}

bool in_foreground()
{
    return tcgetpgrp(STDIN_FILENO) == getpgrp();
}

} // namespace trace
