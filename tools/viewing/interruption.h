// The user's request to end the program: Ctrl-C, or the system's request. One source file for each
// system.
#pragma once

namespace trace
{

// To be called first.
void catch_interruption();

// Whether the request has come.
bool interrupted();

// Reports progress of work that continues after the request. On Linux, a program that makes no
// progress for some seconds after the request is ended, wherever it waits.
void made_progress();

// restore: called in a signal handler before the program is ended in this way.
void before_forced_end(void (*restore)());

// Throws Interrupted if the request has come. Called after a failed call, since the request may
// have caused the failure.
void end_if_interrupted();

} // namespace trace
