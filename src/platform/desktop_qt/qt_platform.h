// Which of Qt's platform plug-ins can be used here.
#pragma once

#include <string>

namespace desktop_qt
{

// The usable platforms in the form of Qt's option "-platform", the preferred one first; empty if
// there is none. Qt ends the process if it can use none of the given ones, so they are checked
// here: their displays (PLINTH_DISPLAY_...) have answered, and their files can be loaded.
// QT_QPA_PLATFORM chooses, as in any Qt program.
std::string usablePlatforms(unsigned displays);

} // namespace desktop_qt
