// The state of a thread that was started through the interface, shared by the thread and its
// handle.
#pragma once

#include <atomic>
#include <cstdint>

#include "kernel32/object/event_state.h"
#include "system/fork_count.h"
#include "windows.h"

namespace platform
{

class WaitingPin;

struct ThreadState
{
    std::atomic<uint32_t> ended{0};            // futex word
    std::atomic<uint32_t> forks{fork_count()}; // a child doesn't have its parent's threads
    std::atomic<DWORD> exit_code{STILL_ACTIVE};
    DWORD result = 0;                                   // the thread's own
    std::atomic<const WaitingPin*> waits_with{nullptr}; // the pins that it holds in a wait
    std::atomic<bool> terminating{false};
    bool terminates_itself = false; // the thread's own
    std::atomic<DWORD> terminated_with{0};
    std::atomic<uint32_t> id{0}; // 0 until the thread runs; futex word for the starter
    std::atomic<int> priority{THREAD_PRIORITY_NORMAL};

    bool has_ended() const { return ended != 0 || forks != fork_count(); }
    DWORD code() const { return ended != 0 ? exit_code.load() : has_ended() ? 0 : STILL_ACTIVE; }
    void end(DWORD code)
    {
        exit_code = code;
        ended = 1;
        futex_wake(&ended, INT32_MAX, false);
    }
};

// The calling thread's; null for a thread that was not started through here. In the static block of
// thread data, so that a signal handler may read it.
extern constinit __attribute__((tls_model("initial-exec"))) thread_local ThreadState* t_state;

} // namespace platform
