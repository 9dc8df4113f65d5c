// Signals that end or stop a program which has changed its terminal.
//
// All functions here may be called in a signal handler.
#pragma once

#include <csignal>

#include <unistd.h>

namespace trace
{

// Signals that end a program by default, besides SIGINT, SIGTERM and SIGHUP (interruption.h).
inline constexpr int ending_signals[] = {SIGQUIT, SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL};

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

// Whether standard input is a terminal that belongs to this program's group. The terminal would
// stop a program that changes it from the background.
inline bool in_foreground()
{
    return tcgetpgrp(STDIN_FILENO) == getpgrp();
}

} // namespace trace
