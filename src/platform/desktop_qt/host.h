// The widgets call these functions of the stand-in to report events and to ask for data.
#pragma once

#include "user32/desktop.h"

namespace desktop_qt
{

// Called before any window is shown.
void setHost(const PlinthDesktopHost& host);
const PlinthDesktopHost& host();

} // namespace desktop_qt
