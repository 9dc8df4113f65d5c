// The one thread of all widgets: that of the application object. The application object is the
// program's own if the program runs Qt already; otherwise the plug-in makes one on a thread of its
// own.
//
// Names in this folder follow Qt's style.
#pragma once

#include <functional>

namespace desktop_qt
{

// Called once, before the other functions. False if nothing can be shown: the program has an
// application object without widgets, or Qt has no plug-in for a display that answers. The farewell
// runs on the thread when that ends, while widgets can still be destroyed.
bool startGui(unsigned displays, void (*farewell)());

// Runs the function on the thread, after those that were posted before, and never waits. False if
// the thread has ended or is about to end, or memory is lacking. In these cases, or if the thread
// ends first, the function is destroyed without having run.
bool postToGui(std::function<void()> function);

bool isGuiThread();

} // namespace desktop_qt
