// What the library does when its process forks: the one list of its locks, in their order, and what
// a child makes anew. Nothing happens on Windows, which has no forks.
//
// The short locks are taken before the fork, in the order of the list, and given back on both
// sides; the stand-in does the same with its own behind them. What is held during a callback, or
// over a wait for another process, is not taken: it belongs to the parent with all that it guards,
// and the child makes it anew.
#pragma once

#include <atomic>
#include <cstdint>

// The steps, in the order of their locks. A step that takes none stands with its subsystem.
enum class QvForkStep : unsigned
{
    thread_pools,
    debug_frameworks,
    asynchronous_transfers,
    timers,
    timer_threads,
    multimedia_timers,
    assertion_report,
    stack_lines,
    trace_record,
    trace_location,
    log, // the last: the log's lock is waited for only so long
    count
};

// Each may be null.
struct QvForkActions
{
    void (*take)() = nullptr;    // before the fork
    void (*release)() = nullptr; // after it, in the parent and in the child
    void (*renew)() = nullptr;   // in the child, when all steps have released
};

// Registers what a step does: an object of static storage in the file that has the lock.
class QvAtFork
{
public:
    QvAtFork(QvForkStep step, const QvForkActions& actions);
};

// How many forks lie between this process and the one that loaded the library. Code that runs
// callbacks looks at it afterwards: in the child of a callback that forked nothing is its own.
uint32_t QvForkCount();

// For memory of the parent's that may have been in use by another thread: kept, and never used.
void QvLeaveToParent(void* memory);
