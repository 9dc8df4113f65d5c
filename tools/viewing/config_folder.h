// Where a user's settings of programs are.
#pragma once

#include <string>

namespace trace
{

// This project's folder in the user's settings folder; it may not exist yet. Empty if the system
// names no settings folder. One source file for each system. UTF-8.
std::string config_folder();

} // namespace trace
