// The time on both clocks that following files needs. Tests pass a clock of their own.
#pragma once

#include <chrono>
#include <functional>

#include "record_time.h"

namespace trace
{

struct Moment
{
    Time wall = 0; // comparable with stamps; a user may set it back
    std::chrono::steady_clock::time_point ticks{};
};

using MomentSource = std::function<Moment()>;

inline Moment current_moment()
{
    return {current_time(), std::chrono::steady_clock::now()};
}

} // namespace trace
