// The C library's rules of the local time. It guards them by a lock that a forked child finds taken
// if another thread was at them; so the stand-in asks for them here, under a lock that a fork
// takes.
#pragma once

#include <ctime>

namespace platform
{

// False if the moment can't be told. errno is set.
bool local_time(time_t moment, struct tm& local);
// -1 if it is none.
time_t moment_of(struct tm& local);

} // namespace platform
