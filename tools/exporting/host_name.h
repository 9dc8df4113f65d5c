// The name of this machine. One source file for each system.
#pragma once

#include <string>

namespace trace
{

// UTF-8; "localhost" if the system has no name.
std::string host_name();

} // namespace trace
