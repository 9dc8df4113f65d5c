// The one thread that all widgets belong to: that of the application object, which is either the
// application's own, if it runs Qt already, or one that the plug-in makes on a thread of its own.
//
// Names in this folder are Qt's way.
#pragma once

#include <functional>

namespace desktop_qt
{

// Called once, before the rest. False if nothing can be shown: then the application has an
// application object without widgets, or Qt has no plug-in for a display that answers. The farewell
// runs on the thread when it ends, while widgets can still be destroyed.
bool startGui(unsigned displays, void (*farewell)());

// Runs it on the thread, after what was posted before, and never waits. False if the thread has
// ended or is about to, or there is no memory; then, or if it ends before its turn comes, the
// function is destroyed without having run.
bool postToGui(std::function<void()> function);

bool isGuiThread();

} // namespace desktop_qt
