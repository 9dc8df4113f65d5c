// Long work on records, done in steps so that other work can run in between.
#pragma once

#include <chrono>
#include <cstddef>

namespace trace
{

// Calls advance(most), which examines at most `most` records and returns true while there are more,
// for about `longest`. True if there are more.
template <class Advance>
bool advance_in_time(std::chrono::steady_clock::duration longest, Advance advance)
{
    constexpr size_t portion = 512; // records between two looks at the clock
    const auto stop = std::chrono::steady_clock::now() + longest;
    while (advance(portion))
        if (std::chrono::steady_clock::now() >= stop)
            return true;
    return false;
}

} // namespace trace
