// Starting the viewer that plinth-trace window is about: a program of its own beside this one, so
// that plinth-trace needs nothing of its libraries. One source file for each system.
#pragma once

#include <string>
#include <vector>

namespace trace
{

// Becomes the viewer. Failure with exit_no_window if there is no display, or no viewer.
[[noreturn]] void become_viewer(const std::vector<std::string>& arguments);

} // namespace trace
