// The functions of the stand-in that the widgets call, to report events and to ask for data.
#pragma once

#include "user32/desktop.h"

namespace desktop_qt
{

// Called before any window is shown.
void setHost(const PlinthDesktopHost& host);
const PlinthDesktopHost& host();

} // namespace desktop_qt
