// Where a user's settings of programs are.
#pragma once

#include <string>

namespace trace
{

// The folder of ours in it, which may be missing; empty if the system names none. One source file
// for each system. UTF-8.
std::string config_folder();

} // namespace trace
