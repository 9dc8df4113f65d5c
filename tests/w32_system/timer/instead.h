// This program stands between the library and what it calls: its own definitions come first in the
// search for symbols. Here is what a test can do with them. At rest they hand on, and count.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include <windows.h>

#include <mmsystem.h>

namespace test
{

// With capture, timeSetEvent makes no timer, stores its arguments and gives the id.
struct MultimediaTimer
{
    bool capture = false;
    UINT id = 0, killed = 0;
    std::vector<UINT> asked; // delay, resolution and flags
    LPTIMECALLBACK procedure = nullptr;
    DWORD_PTR user = 0;
    void fire() const { procedure(id, 0, user, 0, 0); }
};

// With ids left, SetTimer makes no timer and gives the next of them; KillTimer then collects.
struct MessageTimer
{
    std::vector<UINT_PTR> ids, killed;
    std::vector<UINT> milliseconds;
    TIMERPROC procedure = nullptr;
};

struct Instead
{
    // No thread can be made, once.
    static inline std::atomic<bool> no_thread{false};
    // Unnamed events that were made, handles of others than threads that were closed, and threads
    // whose handles weren't.
    static inline std::atomic<long> events{0}, closed_events{0}, open_threads{0};

    // A clock of the test's own, in ms, while it isn't negative: QV_Sleep moves it on at once, and
    // each reading by the step.
    static inline std::atomic<double> clock{-1.0}, clock_step{0.0};

    static inline MultimediaTimer multimedia;
    static inline MessageTimer message;

    // What the library has asserted and traced since: expressions with messages, and formats.
    static std::vector<std::string> assertions();
    static std::vector<std::string> traces();
    // All at rest again.
    static void reset();
};

} // namespace test
