// The functions that a plug-in calls: the table for windows and list views.
#pragma once

#include "desktop.h"

namespace platform
{

extern const PlinthDesktopHost desktop_host;

} // namespace platform
