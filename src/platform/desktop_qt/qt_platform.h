// Which of Qt's platform plug-ins can be used here.
#pragma once

#include <string>

namespace desktop_qt
{

// In the form that Qt's option "-platform" takes, the one to try first in front; empty if there is
// none. Qt ends the process if it can use none of those that it is given, so they are looked at
// here: their displays (PLINTH_DISPLAY_...) have answered, and their files can be loaded.
// QT_QPA_PLATFORM chooses, as everywhere.
std::string usablePlatforms(unsigned displays);

} // namespace desktop_qt
