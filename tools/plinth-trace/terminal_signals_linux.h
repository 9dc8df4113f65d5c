// Signals that end or stop a program which has changed its terminal.
//
// All of it may be called in a signal handler.
#pragma once

#include <csignal>

namespace trace
{

// Those that end a program by default, beside SIGINT, SIGTERM and SIGHUP (interruption.h).
inline constexpr int ending_signals[] = {SIGQUIT, SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL};

// Calls that the signal interrupts start again.
void set_handler(int signal, void (*handler)(int));

// Lets the signal do what it does by default. Returns if that was to stop, and the program goes on.
void raise_default(int signal);

// Standard input is a terminal that belongs to this program's group. The terminal would stop a
// program in the background that sets it.
bool in_foreground();

} // namespace trace
