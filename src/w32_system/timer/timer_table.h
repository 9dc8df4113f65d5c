// The live timers, and what the kinds of timers share: publication, calling, the end.
//
// A timer's record is made by the thread that sets the timer, handed over as the timer is
// published, and freed by the code that runs the timer. The system may let a timer loose before it
// is published; it is then held back until it is.
#pragma once

#include <atomic>
#include <map>
#include <memory>

#include "frame.h"
#include "own_thread.h"

inline constexpr const char* timer_source_name = "src\\w32_system\\timer\\timer";

// Guards the table, the next id and what is said to be; stands alone (but for the system's own
// locks) and is held for short table work only. Usable from load on, never destroyed.
extern pthread_mutexCS_t gs_TimerLock;

class QvTimerGuard
{
public:
    QvTimerGuard() { pthread_mutexCS_lock(&gs_TimerLock); }
    QvTimerGuard(const QvTimerGuard&) = delete;
    QvTimerGuard& operator=(const QvTimerGuard&) = delete;
    ~QvTimerGuard() { pthread_mutexCS_unlock(&gs_TimerLock); }
};

// What a timer shares with those who wait for its end; it goes with the last of them.
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

    // Of a timer that fires, on the thread that it fires on.
    int32_t iDepth = 0;  // callbacks under way: one that pumps messages may meet its own timer
    bool bEnded = false; // no further calls
};

using QvTimerPointer = std::unique_ptr<QvTimer>;
using QvTimers = std::map<uint64_t, QvTimerRecord*>;
using QvTimerNode = QvTimers::node_type;

// The object behind gs_TimerHandleMap builds the table. Its tear-down leaves it alone: an empty
// table holds no memory, and a timer that runs on while the process ends is still in it for those
// who wait.
struct QvTimerMap
{
    QvTimerMap();
};

// An entry of the table for the timer, so that nothing can fail once the system has the timer. May
// throw std::bad_alloc.
QvTimerNode QvMakeTimerNode(QvTimer& timer);

// Enters the timer under the next id, lets it fire, and gives the id. From here on the timer
// belongs to the code that runs it.
uintptr_t QvPublishTimer(QvTimerPointer timer, QvTimerNode node);

// These need gs_TimerLock. The timer of an id, null if none lives.
QvTimer* QvFindTimer(uint64_t id);
bool QvHasTimers(int32_t kind);
// True for an id that has been given to a timer of kinds 1 and 2.
bool QvWasTimerId(uint64_t id);
// Enters the timer under its id.
void QvEnterTimer(QvTimerNode node, uint64_t id);
// Takes the timer out of the table.
void QvTakeOutTimer(QvTimer& timer);

bool QvIsTimerStopped(QvTimer& timer);
void QvStopTimer(QvTimer& timer);

// Waits until another thread has raised the flag. The one that raises it touches the flag's memory
// no more once the other can see it.
void QvAwaitTimerFlag(const std::atomic<bool>& flag);
void QvRaiseTimerFlag(std::atomic<bool>& flag);

// Calls the callback, and gives what it gave.
int QvCallTimer(QvTimer& timer);
// The timer whose callback the calling thread runs, the innermost one; null if none.
const QvTimer* QvCurrentTimer();
// Whether the thread is in the callback of this timer, at any depth.
bool QvIsInTimerCallback(uint64_t id);

// The interval in whole milliseconds, as the system's timers take it.
UINT QvTimerMilliseconds(const QvTimer& timer);
