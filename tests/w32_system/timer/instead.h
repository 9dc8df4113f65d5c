// This program's own definitions replace functions that the library calls: they come first in the
// search for symbols. Tests control them by the variables below. By default they call the real
// ones, and count.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include <windows.h>

#include <mmsystem.h>

namespace test
{

// With capture, timeSetEvent makes no timer, stores its arguments and returns id.
struct MultimediaTimer
{
    bool capture = false;
    UINT id = 0, killed = 0;
    std::vector<UINT> asked; // delay, resolution and flags
    LPTIMECALLBACK procedure = nullptr;
    DWORD_PTR user = 0;
    void fire() const { procedure(id, 0, user, 0, 0); }
};

// While ids are left, SetTimer makes no timer and returns the next id; KillTimer then records.
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

    // While it isn't negative, a clock of the test's own, in ms: QV_Sleep advances it at once, and
    // each reading advances it by clock_step.
    static inline std::atomic<double> clock{-1.0}, clock_step{0.0};

    static inline MultimediaTimer multimedia;
    static inline MessageTimer message;

    // Assertions (expressions with messages) and formats of traces of the library since the last
    // reset.
    static std::vector<std::string> assertions();
    static std::vector<std::string> traces();
    // Back to the defaults.
    static void reset();
};

} // namespace test
