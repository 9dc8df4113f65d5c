// How a thread waits for a lock that another thread has, before it goes to sleep.
//
// The locks that matter are held over a write to a file, for 1 to 7 us. To wake a sleeper takes its
// holder several us, and the sleeper runs only tens of us later where its processor has gone to
// sleep as well. So the waiter looks at the lock again and again, at first after a few
// instructions, then more rarely. The rare looks let a holder that comes again and again do several
// pieces of work in a row. If threads took turns, the data that they all use would move to the
// other processor each time, which doubles the time of a write.
//
// Between the rare looks the waiter offers its processor to other threads: with more threads than
// processors, the holder may be one that waits for a processor. docs/performance.md has the
// figures.
#pragma once

namespace platform
{

// Tells the processor that a loop only looks at memory.
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

// True as soon as an attempt is true; false after about 0.3 ms, when the caller should sleep.
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
