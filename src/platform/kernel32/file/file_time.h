// Conversions between the kernel's times and file times.
#pragma once

#include <cstdint>
#include <ctime>

#include "winbase.h"

namespace platform
{

FILETIME to_file_time(int64_t seconds, long nanoseconds);
timespec to_timespec(const FILETIME& time);

} // namespace platform
