// An application object on a thread of its own, for programs that don't run Qt themselves.
#pragma once

namespace desktop_qt
{

// Returns true when the event loop is about to run and `started` has run on its thread; false if
// the application object can't be made, or takes more than half a minute. The application object
// ends with the process.
bool startOwnApplication(unsigned displays, void (*started)());

// The process will end soon: makes sure that the thread is stopped first.
void awaitEndWithOwnApplication();

} // namespace desktop_qt
