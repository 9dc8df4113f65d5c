// Signals that end or stop a program which has changed its terminal.
//
// Functions here may be called in a signal handler, unless they say otherwise.
#pragma once

#include <csignal>

#include <unistd.h>

namespace trace
{

// Calls that the signal interrupts start again.
inline void set_handler(int signal, void (*handler)(int))
{
    struct sigaction action
    {
    };
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

// Lets the signal do what it does by default. Returns if that was to stop, and the program
// continues.
inline void raise_default(int signal)
{
    set_handler(signal, SIG_DFL);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, signal);
    raise(signal);
    sigprocmask(SIG_UNBLOCK, &only, nullptr); // the signal is delivered now
}

// Sets this handler for every signal that would end the program, real-time signals included.
// Signals that are ignored or have a handler keep it: SIGINT, SIGTERM and SIGHUP have that of
// interruption.h. Only crashes get this handler in any case: a handler that a sanitizer has set for
// them would end the program too. Not in a signal handler.
void set_ending_handler(void (*handler)(int));

// Restores what these signals had before, unless they have got another handler since. Not in a
// signal handler.
void restore_ending_signals();

// Whether standard input is a terminal that belongs to this program's group. The terminal would
// stop a program that changes it from the background.
inline bool in_foreground()
{
    return tcgetpgrp(STDIN_FILENO) == getpgrp();
}

} // namespace trace
