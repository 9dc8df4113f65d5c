// Starting and ending threads, shared by CreateThread and the runtime library.
#pragma once

#include <cstddef>

#include "windef.h"

namespace platform
{

class PinBase;

using ThreadStart = unsigned (*)(void*);

// Returns the thread's handle, or null with the last error set. id may be null.
HANDLE start_thread(ThreadStart start, void* argument, size_t stack_size, DWORD* id);

// Ends the calling thread, also one that start_thread did not start.
[[noreturn]] void end_thread(DWORD exit_code);

// A thread that is terminated in a wait never unpins the objects that it waits for. While an object
// of this class exists, TerminateThread does that instead.
class WaitingPin
{
public:
    // The array must live as long as this object.
    WaitingPin(PinBase* const* pins, size_t count);
    WaitingPin(const WaitingPin&) = delete;
    WaitingPin& operator=(const WaitingPin&) = delete;
    ~WaitingPin();
    void release() const; // called instead of the thread that made it

private:
    PinBase* const* const m_pins;
    const size_t m_count;
};

// The procedure runs on the terminating thread, after each termination of another thread, as a
// terminated thread cleans up nothing itself. There is one.
void set_termination_cleaner(void (*procedure)(DWORD thread));

} // namespace platform
