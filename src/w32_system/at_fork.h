// What the library does when its process forks: the list of its locks, in their order, and what a
// child creates anew. Windows has no forks, so nothing happens there.
//
// The short locks are taken before the fork, in the order of the list, and released in both
// processes; the stand-in does the same with its own locks after them. A lock that is held during a
// callback, or during a wait for another process, is not taken: it belongs to the parent with all
// that it guards, and the child creates it anew.
#pragma once

#include <atomic>
#include <cstdint>

// The steps, in the order of their locks. A step without a lock is listed beside its subsystem.
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
    log, // the last, because waiting for the log's lock has a time limit
    count
};

// Each pointer may be null.
struct QvForkActions
{
    void (*take)() = nullptr;    // before the fork
    void (*release)() = nullptr; // after it, in the parent and in the child
    void (*renew)() = nullptr;   // in the child, after all steps have released
};

// Registers the actions of a step: a static object in the file that has the lock.
class QvAtFork
{
public:
    QvAtFork(QvForkStep step, const QvForkActions& actions);
};

// The number of forks since the process that loaded the library. Code that runs callbacks compares
// it before and after: in the child of a callback that forked, none of its state is its own.
uint32_t QvForkCount();

// Keeps memory of the parent that another thread may have been using; it is never used again.
void QvLeaveToParent(void* memory);
