// Starting and ending threads, shared by CreateThread and the runtime library.
#pragma once

#include "windef.h"

namespace platform
{

using ThreadStart = unsigned (*)(void*);

// Gives the thread's handle, or null with the last error set. id may be null.
HANDLE start_thread(ThreadStart start, void* argument, size_t stack_size, DWORD* id);

// Ends the calling thread. One that start_thread did not start just ends.
[[noreturn]] void end_thread(DWORD exit_code);

} // namespace platform
