// The three kinds of timers: a thread, a multimedia timer, a message timer. If the system refuses,
// the caller keeps the timer.
#pragma once

#include "timer_table.h"

// Each takes the timer and returns its id, or returns 0. May throw std::bad_alloc, with no effect.
uintptr_t QvStartTimerThread(QvTimerPointer& timer); // traces its failure
uintptr_t QvSetMultimediaTimer(QvTimerPointer& timer, UINT resolution);
uintptr_t QvSetMessageTimer(QvTimerPointer& timer);

// One firing of a multimedia or message timer. True if the timer has ended and none of its
// callbacks is running: the system's timer and the record must then be removed.
bool QvFireTimer(QvTimer& timer);
// Removes the timer from the table, frees it and releases its waiters.
void QvRemoveTimer(QvTimer* timer);

// Ends a timer whose thread can no longer do so, in place of that thread. The thread has ended, or
// it has not begun although the timer was killed; then it is refused. False if neither is true, or
// if the timer is no longer in the table.
bool QvEndTimerOfLostThread(uint64_t id, const std::shared_ptr<QvTimerEnd>& end, bool hasEnded);

// When the library is unloaded: waits until the threads of timers that have ended are gone, or ends
// them, as QvEndThread does. Their code may go afterwards.
void QvEndTimerThreads();

// The same for the last call of a multimedia timer, which still returns through the library's code
// after it has released the timer's waiters. Does nothing while multimedia timers exist, as at the
// end of a process: their calls may take any time, and one of them may be the caller.
void QvAwaitLastMultimediaCall();
