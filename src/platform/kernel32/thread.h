// Starting and ending threads, shared by CreateThread and the runtime library.
#pragma once

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
    explicit WaitingPin(PinBase& pin);
    WaitingPin(const WaitingPin&) = delete;
    WaitingPin& operator=(const WaitingPin&) = delete;
    ~WaitingPin();
};

} // namespace platform
