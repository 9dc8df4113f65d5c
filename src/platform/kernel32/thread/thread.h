// Starting and ending threads, shared by CreateThread and the runtime library.
#pragma once

#include <cstddef>

#include "windef.h"

namespace platform
{

class PinBase;

using ThreadStart = unsigned (*)(void*);

// Gives the thread's handle, or null with the last error set. id may be null.
HANDLE start_thread(ThreadStart start, void* argument, size_t stack_size, DWORD* id);

// Ends the calling thread. One that start_thread did not start just ends.
[[noreturn]] void end_thread(DWORD exit_code);

// A thread that is terminated in a wait never lets go of what it waits for. While one of these
// lives, TerminateThread does it in its place.
class WaitingPin
{
public:
    // The array lives as long as this.
    WaitingPin(PinBase* const* pins, size_t count);
    WaitingPin(const WaitingPin&) = delete;
    WaitingPin& operator=(const WaitingPin&) = delete;
    ~WaitingPin();
    void release() const; // in place of the thread that made it

private:
    PinBase* const* const m_pins;
    const size_t m_count;
};

// The procedure runs on the terminating thread, for each thread that was terminated from outside:
// such a thread cleans up nothing. There is one.
void set_termination_cleaner(void (*procedure)(DWORD thread));

} // namespace platform
