// The time zone of the logs, if it differs from the reader's. One source file for each system.
#pragma once

#include <string>

namespace trace
{

// Uses this zone for local times from now on, in the whole program. To be called before any time is
// asked for, and before there is a second thread. False if the system doesn't know the zone.
bool use_zone(const std::string& name);

} // namespace trace
