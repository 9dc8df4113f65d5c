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

struct Instead
{
    // pthread_create fails with this error, once.
    static std::atomic<int> thread_error;
    // Joinable threads made, and not joined or detached since.
    static std::atomic<long> joinable_threads;
    // Unnamed events that were made, and handles that were closed.
    static std::atomic<long> events, closed_handles;
    // Blocks of memory by operator new.
    static std::atomic<long> blocks;

    // A clock of the test's own, in ms, while it isn't negative: QV_Sleep moves it on at once, and
    // each reading by the step.
    static std::atomic<double> clock, clock_step;

    // With capture, timeSetEvent makes no timer, stores its arguments and gives the id.
    struct MultimediaTimer
    {
        bool capture = false;
        UINT id = 0, killed = 0;
        UINT delay = 0, resolution = 0, flags = 0;
        LPTIMECALLBACK procedure = nullptr;
        DWORD_PTR user = 0;
        void fire() const { procedure(id, 0, user, 0, 0); }
    };
    static MultimediaTimer multimedia;

    // With ids left, SetTimer makes no timer and gives the next of them; KillTimer then collects.
    struct MessageTimer
    {
        std::vector<UINT_PTR> ids, killed;
        std::vector<UINT> milliseconds;
        TIMERPROC procedure = nullptr;
    };
    static MessageTimer message;

    // What the library has asserted and traced since: expressions with messages, and formats.
    static std::vector<std::string> assertions();
    static std::vector<std::string> traces();
    // All at rest again.
    static void reset();
};

} // namespace test
