// How a thread waits for a lock that another thread has, before it sleeps.
//
// The important locks are held during a write to a file, for 1 to 7 us. Waking a sleeper takes the
// holder several us, and the sleeper runs only tens of us later if its processor sleeps as well. So
// the waiter checks the lock again and again, at first after a few instructions, then less often.
// With less frequent checks a thread that takes the lock often can do several pieces of work in a
// row. If threads took turns, the data that they all use would move to the other processor each
// time, which doubles the time of a write.
//
// Between the less frequent checks the waiter yields its processor to other threads: with more
// threads than processors, the holder may be waiting for one. docs/performance.md has the figures.
#pragma once

namespace platform
{

// Signals the processor that a loop only reads memory.
inline void relax()
{
#if defined(__x86_64__)
    __builtin_ia32_pause();
#endif
}

inline void relax(int times)
{
    for (int i = 0; i < times; ++i)
        relax();
}

// True as soon as an attempt returns true; false after about 0.3 ms, when the caller should sleep.
template <class Attempt, class Yield> bool taken_by_looking(Attempt attempt, Yield yield)
{
    constexpr int longest_pause = 128; // about 3 us
    constexpr int rare_looks = 80;
    for (int pause = 1; pause < longest_pause; pause *= 2)
    {
        if (attempt())
            return true;
        relax(pause);
    }
    for (int i = 0; i < rare_looks; ++i)
    {
        if (attempt())
            return true;
        yield();
        relax(longest_pause);
    }
    return false;
}

} // namespace platform
