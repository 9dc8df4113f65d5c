// The three ways in which a timer can be carried. What can't be had of the system is left to the
// caller: the timer is then still its own.
#pragma once

#include "timer_table.h"

// Each gives the id and takes the timer, or gives 0. May throw std::bad_alloc, with nothing done.
uintptr_t QvStartTimerThread(QvTimerPointer& timer); // traces its failure
uintptr_t QvSetMultimediaTimer(QvTimerPointer& timer, UINT resolution);
uintptr_t QvSetMessageTimer(QvTimerPointer& timer);

// One firing of a multimedia or message timer. True if the timer has ended and no callback of it is
// under way any more: the system's timer and the record are then to be removed.
bool QvFireTimer(QvTimer& timer);
// Takes the timer out of the table, frees it and lets go those who wait for it.
void QvRemoveTimer(QvTimer* timer);

// When the library is unloaded: waits until the threads of timers that have ended are gone, or ends
// them, as QvEndThread does. Their code may go afterwards.
void QvEndTimerThreads();

// Waits for the last call of a multimedia timer: it returns through the library's code after it
// has let go those who wait for the timer's end. Does nothing while multimedia timers live, as when
// a process ends: their calls may take as long as they like, and one of them may be the caller.
void QvAwaitLastMultimediaCall();
