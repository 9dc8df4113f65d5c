// The wish of the user to end the program: Ctrl-C, or a polite request of the system. One source
// file for each system.
#pragma once

namespace trace
{

// To be called first.
void catch_interruption();

// The wish has come.
bool interrupted();

// Work that goes on after the wish, and gets somewhere: on Linux a program that has been asked to
// end and does nothing of this for some seconds is ended, wherever it waits.
void made_progress();

// What is left to do when the program is ended in this way. Called in a signal handler.
void before_forced_end(void (*restore)());

// Throws Interrupted if the wish has come. For where a call has failed, which the wish can have
// caused.
void end_if_interrupted();

} // namespace trace
