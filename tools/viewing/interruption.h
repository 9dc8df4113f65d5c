// The user's request to end the program: Ctrl-C, or the system's request. One source file for each
// system.
#pragma once

#include <chrono>

namespace trace
{

// To be called first.
void catch_interruption();

// Whether the request has come.
bool interrupted();

// For a program that the user gave a time: ends waits for a reader when the time has come.
void end_waits_at(std::chrono::steady_clock::time_point time);

// Whether that time has come.
bool time_is_over();

// Reports progress of work that continues after either. On Linux, a program that makes no progress
// for some seconds after the request or that time is ended, wherever it waits.
void made_progress();

// restore: called in a signal handler before the program is ended in this way.
void before_forced_end(void (*restore)());

// Throws Interrupted if the request has come. Called after a failed call, since the request may
// have caused the failure.
void end_if_interrupted();

} // namespace trace
