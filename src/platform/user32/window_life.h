// Destroying windows.
#pragma once

#include "windef.h"

namespace platform
{

// On the window's own thread. False with the last error set.
bool destroy_window(HWND window);

} // namespace platform
