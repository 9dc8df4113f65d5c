// The C library's rules of the local time. It guards them by a lock that a forked child finds taken
// if another thread was using them; so the stand-in uses them through here, under a lock that a
// fork takes.
#pragma once

#include <ctime>

namespace platform
{

// False, with errno set, if the moment can't be converted.
bool local_time(time_t moment, struct tm& local);
// -1 if the time is invalid.
time_t moment_of(struct tm& local);

} // namespace platform
