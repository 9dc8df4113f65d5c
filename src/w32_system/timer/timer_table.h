// The timers that exist, and what their kinds share: publishing, calling, ending.
//
// The thread that sets a timer creates its record. Publishing hands the record over to the code
// that runs the timer, which frees it. The system may fire a timer before it is published; the
// callback then waits.
#pragma once

#include <atomic>
#include <map>
#include <memory>

#include "frame.h"
#include "own_thread.h"

inline constexpr const char* timer_source_name = "src\\w32_system\\timer\\timer";

// Guards the table, the next id and all fields whose comments name it. Independent of other locks
// (except the system's own and the one of the timers' flags, which is taken under it) and held only
// for short work on the table. Usable from load on, never destroyed.
extern pthread_mutexCS_t gs_TimerLock;

class QvTimerGuard
{
public:
    QvTimerGuard() { pthread_mutexCS_lock(&gs_TimerLock); }
    QvTimerGuard(const QvTimerGuard&) = delete;
    QvTimerGuard& operator=(const QvTimerGuard&) = delete;
    ~QvTimerGuard() { pthread_mutexCS_unlock(&gs_TimerLock); }
};

struct QvTimer;

// Shared by a timer, the threads that wait for its end, and the list of ended threads; the last of
// them frees it.
struct QvTimerEnd
{
    QvTimerEnd() = default;
    QvTimerEnd(const QvTimerEnd&) = delete;
    QvTimerEnd& operator=(const QvTimerEnd&) = delete;
    ~QvTimerEnd()
    {
        for (const HANDLE each : {hEvent, hThread})
            if (each)
                CloseHandle(each);
    }

    HANDLE hEvent = nullptr; // kind 2; set before the timer is published
    // Kind 1. The handle is set before the timer is published.
    HANDLE hThread = nullptr;
    QvTimer* pTimer = nullptr; // for the start of the thread, unless it is refused
    QvThreadStage threadStage{0};
    std::atomic<bool> bThreadNamed = false;  // the record has the thread's name
    std::atomic<bool> bThreadLeaves = false; // the timer has ended, and its thread is about to
    std::shared_ptr<QvTimerEnd> pNextEnded;  // gs_TimerLock
};

struct QvTimer : QvTimerRecord
{
    // cppcheck-suppress uninitDerivedMemberVar ; all zero
    QvTimer() : QvTimerRecord{}, pEnd(std::make_shared<QvTimerEnd>()) {}

    std::shared_ptr<QvTimerEnd> pEnd; // gs_TimerLock, once the timer is published
    std::atomic<bool> bPublished = false;

    // For a timer that fires; used only on the thread that it fires on.
    int32_t iDepth = 0;  // callbacks running: one that pumps messages may be called again
    bool bEnded = false; // no further calls
};

using QvTimerPointer = std::unique_ptr<QvTimer>;
using QvTimers = std::map<uint64_t, QvTimerRecord*>;
using QvTimerNode = QvTimers::node_type;

// The type of gs_TimerHandleMap, which builds the table. The tear-down does not destroy the
// table: an empty one holds no memory, and waiters still find a timer that runs while the process
// ends.
struct QvTimerMap
{
    QvTimerMap();
};

// Creates the table entry for a timer beforehand, so that nothing can fail once the system has the
// timer. May throw std::bad_alloc.
QvTimerNode QvMakeTimerNode(QvTimer& timer);

// Enters the timer under the next id, allows it to fire, and returns the id. A thread that finds
// the timer in the table may rely on both. From here on the timer belongs to the code that runs it.
uintptr_t QvPublishTimer(QvTimerPointer timer, QvTimerNode node);

// These need gs_TimerLock. Returns the timer with an id, or null.
QvTimer* QvFindTimer(uint64_t id);
bool QvHasTimers(int32_t kind);
// True for an id that a timer of kinds 1 and 2 has had.
bool QvWasTimerId(uint64_t id);
// Enters the timer under its id.
void QvEnterTimer(QvTimerNode node, uint64_t id);
// Removes the timer from the table.
void QvTakeOutTimer(QvTimer& timer);

bool QvIsTimerStopped(QvTimer& timer);
void QvStopTimer(QvTimer& timer);

// Waits until another thread has raised the flag. The raising thread doesn't touch the flag's
// memory after the waiter can see the flag.
void QvAwaitTimerFlag(const std::atomic<bool>& flag);
void QvRaiseTimerFlag(std::atomic<bool>& flag);

// Calls the callback and returns its result.
int QvCallTimer(QvTimer& timer);
// The innermost timer whose callback the calling thread runs; null if none.
const QvTimer* QvCurrentTimer();
// Whether the calling thread is in a callback of this timer, at any depth.
bool QvIsInTimerCallback(uint64_t id);

// The interval in whole milliseconds, for the system's timers.
UINT QvTimerMilliseconds(const QvTimer& timer);
