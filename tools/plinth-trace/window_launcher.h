// Starts the viewer of plinth-trace window: a separate program in the same folder, so that
// plinth-trace doesn't need the viewer's libraries. One source file for each system.
#pragma once

#include <string>
#include <vector>

namespace trace
{

// Replaces this program by the viewer. Fails with exit_no_window if there is no display or no
// viewer.
[[noreturn]] void become_viewer(const std::vector<std::string>& arguments);

} // namespace trace
