// The call frames of the calling thread, by the C++ run-time's unwinder.
#pragma once

#include <cstddef>
#include <cstdint>

#include "windef.h"

namespace platform
{

struct CallFrame
{
    uintptr_t address = 0;    // where the frame continues
    uintptr_t stack = 0;      // its stack pointer there
    bool interrupted = false; // by a signal: the address is that of the next instruction
};

// Stores up to capacity frames from the first one on for which wanted(frame, argument) is true,
// innermost first; returns the count. Frames of this function and of those it calls never count.
size_t collect_frames(CallFrame* frames, size_t capacity,
                      bool (*wanted)(const CallFrame& frame, void* argument), void* argument);

// The same with any callable.
template <class Wanted> size_t collect_frames(CallFrame* frames, size_t capacity, Wanted wanted)
{
    return collect_frames(
        frames, capacity,
        [](const CallFrame& frame, void* argument)
        { return (*static_cast<Wanted*>(argument))(frame); },
        &wanted);
}

} // namespace platform
