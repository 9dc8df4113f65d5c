// The stand-in, which loaded the plug-in: what the widgets tell it and ask it for.
#pragma once

#include "user32/desktop.h"

namespace desktop_qt
{

// Before any window.
void setHost(const PlinthDesktopHost& host);
const PlinthDesktopHost& host();

} // namespace desktop_qt
