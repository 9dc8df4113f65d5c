// What a plug-in calls: the table of functions of windows and of list views.
#pragma once

#include "desktop.h"

namespace platform
{

extern const PlinthDesktopHost desktop_host;

} // namespace platform
