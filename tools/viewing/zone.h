// The time zone of the logs, if it is another than the reader's. One source file for each system.
#pragma once

#include <string>

namespace trace
{

// Takes this zone for local times from here on, in the whole program: before any time is asked for,
// and before there is a second thread. False if the system doesn't know it.
bool use_zone(const std::string& name);

} // namespace trace
