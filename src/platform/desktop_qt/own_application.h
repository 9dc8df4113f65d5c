// An application object on a thread of its own, for programs that don't run Qt themselves.
#pragma once

namespace desktop_qt
{

// Returns when its event loop is about to run and started has run on its thread; false if it can't
// be made, or is not there in half a minute. It is stopped with the end of the process.
bool startOwnApplication(unsigned displays, void (*started)());

// The end of the process is near: makes sure that stopping it comes first there.
void awaitEndWithOwnApplication();

} // namespace desktop_qt
