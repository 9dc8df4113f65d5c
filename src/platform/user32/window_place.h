// Showing and hiding windows.
#pragma once

#include "windef.h"

namespace platform
{

// On the window's own thread. Returns whether it was visible before; false with the last error set
// if the window no longer exists.
bool show_window(HWND window, int command);

} // namespace platform
