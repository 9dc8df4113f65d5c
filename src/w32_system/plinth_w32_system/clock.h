// Clocks and timers.
#ifndef PLINTH_W32_SYSTEM_CLOCK_H
#define PLINTH_W32_SYSTEM_CLOCK_H

#include <cstdint>

#include "base.h"

extern "C"
{
    // --------------------------------------------------------------------------------- clocks --

    // The library's clock in milliseconds, from the system's performance counter. Only differences
    // have a meaning. Takes no lock, allocates nothing, any thread.
    QV_API double QV_GetTimeCounter(void);

    // The length of one step of that clock in milliseconds; 0.0 if the system can't report it.
    QV_API double QV_GetTimeCounterPrecision(void);

    // Waits for a time in milliseconds in a precision mode (QvPrecision). 0, or QV_ERR_NULLPTR for
    // an unknown mode, without waiting. A negative time counts as 0, and a time that is too long
    // for the system's sleep as the longest possible. Spin modes keep a processor busy.
    QV_API int QV_Sleep(double milliseconds, int precision);

    // The cycle counter family. On 64-bit platforms there is no counter: available and initialize
    // return 0, and the count is 0.
    QV_API int rdtsc_initialize(void);
    QV_API int rdtsc_available(void);
    QV_API long long rdtsc_count(void);

    // Calibrates the counter against the performance counter, spinning, in at least two samples of
    // so many milliseconds. frequency (out) and deviation (in: when to stop, out: reached) are in
    // counts per second. 1, or 0 if there is no performance counter or a pointer is null.
    QV_API int rdtsc_cpu_freq(double* frequency, double* deviation, unsigned int milliseconds,
                              unsigned short maxPasses);

    // Converts a count to seconds. The first call calibrates for two seconds or more; without a
    // counter the frequency is 0, and the result is infinite or not a number.
    QV_API double rdtsc_count2seconds(long long count);

    // --------------------------------------------------------------------------------- timers --
    //
    // A timer calls a function at a fixed interval, a number of times or until it is stopped. The
    // precision mode decides which mechanism is used (QvPrecision; docs/timers.md compares them):
    //
    //   1, 2, 3      a thread of its own, which waits between the calls as QV_Sleep does
    //   4, 5, 6, 7   the system's multimedia timer, asked for a resolution of 20, 10, 1, 1 ms and
    //                for the whole milliseconds of the interval; 7 spins up to the next multiple of
    //                the interval if it comes early by less than half of one
    //   9            the message timer of the calling thread: calls come out of its message
    //                dispatch, at 10 ms or more, and it must pump messages until the timer has
    //                ended
    //
    // An interval below 1 ms sets the mode to 3, unless it is 9. If the system refuses a timer, the
    // timer gets a thread of its own, in the same mode.
    //
    // Timers end at a tick: when the calls are used up, when the callback returns 0, or at the
    // first tick after QV_KillTimerAsync. Nothing stops a running callback. All timers must have
    // ended before the library is unloaded (kill them, then wait for each); at the end of the
    // process they may still run.

    // Called at each tick with the data of its timer; returns 0 to end the timer, any other value
    // to continue. It must not throw. It may set timers and kill any, also its own. All multimedia
    // timers share one thread, so a slow callback delays the others, and one must not wait for
    // another.
    typedef int (*QvTimerCallback)(void* data);

    // The mechanism of a timer.
    enum QvTimerKind : int32_t
    {
        QV_TIMER_THREAD = 1,     // a thread of its own
        QV_TIMER_MULTIMEDIA = 2, // the system's multimedia timer
        QV_TIMER_POSTED = 3,     // the message timer of the thread that set it
    };

    // One timer. The library creates and frees it, and only the library writes to it.
    struct QvTimerRecord
    {
        int32_t iKind;               // QvTimerKind
        uint64_t uSystemId;          // id of the system's timer, kinds 2 and 3
        uintptr_t thread;            // kind 1: the thread, as the threads module identifies it
        void* pData;                 // handed to the callback
        int64_t i64IntervalNs;       // nanoseconds
        int32_t iCallsLeft;          // 0: no limit; not counted for kind 1
        double dStartTime;           // the library's clock when the timer was set, ms
        double dLastTime;            // the same; in mode 7 the time of the last call
        int32_t iPrecision;          // the mode in force
        int32_t iCatchUpMode;        // as it was given
        QvTimerCallback pfnCallback; // as it was given
        HANDLE hEvent;               // kind 2: signalled when the timer has ended; may be null
        unsigned char bStop;         // the timer is to stop
        uint64_t uId;                // the result of QV_SetThreadedTimer
    };

    // The result of QV_GetTimerInfo.
    struct QvTimerInfo
    {
        double dStartTime;    // the library's clock when the timer was set, ms
        int32_t iPrecision;   // the mode in force, which may differ from the one asked for
        int32_t iCatchUpMode; // as it was given
        int32_t iKind; // 2 thread, 3 multimedia, 4 message timer (QvTimerKind plus 1); 0 unknown
    };

    // Sets a timer and returns its id, which fits into 32 bits; 0 on failure: no callback, numCalls
    // negative, an unknown mode (also 8), or no thread could be created (traced). The first call
    // comes one interval from now.
    //
    // milliseconds: the interval, fractions allowed; a negative one counts as 0, which calls
    // without a pause. numCalls: 0 for no limit. iCatchUpMode, for a timer thread whose callback
    // took too long: 1 drops the missed ticks without counting them, any other value makes their
    // calls at once.
    QV_API uintptr_t QV_SetThreadedTimer(QvTimerCallback callback, void* data, double milliseconds,
                                         int numCalls, int precision, int iCatchUpMode);

    // The same with precision 9 and catch-up mode 1.
    QV_API uintptr_t QV_SetPostedTimer(QvTimerCallback callback, void* data, double milliseconds,
                                       int numCalls);

    // Makes a timer end at its next tick, and returns at once; the callback may run once more.
    // QV_OK, or QV_ERR_NULLPTR if no such timer exists.
    QV_API int QV_KillTimerAsync(unsigned int id);

    // Waits until the timer has ended, without a time limit; doesn't stop it. Any number of threads
    // may wait. Afterwards the callback no longer runs. A timer's own thread has ended, except in
    // these cases: the timer had ended before the call, or the thread takes more than a second to
    // end after the timer, or the thread had not begun. It can neither begin nor end while a module
    // is being unloaded.
    //
    // A killed timer whose thread has not begun ends without a call, and a timer whose thread was
    // terminated ends too. So a module may kill its timers in DllMain and then wait for each, but
    // must not wait there for a timer that it hasn't killed.
    //
    // QV_OK, also at once for a timer that has ended before. QV_ERR_NULLPTR: an id that was never
    // used, or of a message timer that has ended. QV_ERR_BADARG: a message timer, or the calling
    // thread is in the timer's own callback. QV_OK at once, with a trace, for a multimedia timer
    // for which the system had no event.
    QV_API int QV_WaitForTimer(unsigned int id);

    // The record of a timer, for QV_GetTimerInfo; null if no such timer exists. With 0, the record
    // of the timer whose callback the calling thread runs. It is freed when the timer ends: use it
    // in the timer's callback, or while nothing can end the timer.
    //
    // For a timer with a thread of its own, the call waits for that thread to begin, for a second
    // at most: the thread can't begin while a module is being loaded or unloaded. Then the field
    // thread is still 0, and is written later.
    QV_API const struct QvTimerRecord* QV_GetTimerRecord(unsigned int id);

    // Reads the settings of a timer. QV_OK, or QV_ERR_NULLPTR: a pointer is null (nothing is
    // written), or the kind is unknown (iKind is 0, the rest is filled in). Takes no lock: see
    // QV_GetTimerRecord.
    QV_API int QV_GetTimerInfo(const struct QvTimerRecord* timer, struct QvTimerInfo* info);
}

#endif
