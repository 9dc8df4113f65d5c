// The stand-in, which loaded the plug-in: what the widgets report to it and ask it for.
#pragma once

#include "user32/desktop.h"

namespace desktop_qt
{

// Called before any window is shown.
void setHost(const PlinthDesktopHost& host);
const PlinthDesktopHost& host();

} // namespace desktop_qt
