// Long work over records, done in steps that fit between other things.
#pragma once

#include <chrono>
#include <cstddef>

namespace trace
{

// Calls advance(most), which examines at most so many records and is true while there are more, for
// about so long. True if there are more.
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
