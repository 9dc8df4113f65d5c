// Multimedia timers: one thread of the highest priority that the system allows, which waits for
// absolute moments.
//
// A periodic timer keeps to the grid of its periods, so its rate doesn't drift. Ticks that fall due
// while the thread can't run are made up for, in the order of their moments, if they are at most
// most_behind old. Older ones are dropped, so that one slow callback doesn't starve others, and a
// process that was stopped for a while isn't flooded.
//
// The thread starts with the first timer and stays. It may be in a callback when the process ends,
// so nothing here is ever destroyed.
#include <condition_variable>
#include <map>
#include <mutex>
#include <new>
#include <set>

#include <windows.h>

#include <mmsystem.h>

#include "kernel32/object/event_state.h"
#include "kernel32/thread/thread.h"
#include "system/clock.h"
#include "system/exception_guard.h"
#include "system/faults.h"
#include "system/fork.h"

using namespace platform;

namespace
{

constexpr int64_t nanoseconds_per_millisecond = 1'000'000;
constexpr int64_t most_behind = 100 * nanoseconds_per_millisecond;

struct TimerEvent
{
    int64_t due;    // ns on the monotonic clock
    int64_t period; // ns; 0: fires once
    LPTIMECALLBACK procedure;
    DWORD_PTR user;
    bool kill_synchronous;
};

using Moment = std::pair<int64_t, UINT>; // when, and which timer

struct Scheduler
{
    std::mutex lock; // guards all below; not held during a callback
    std::map<UINT, TimerEvent> events;
    std::set<Moment> moments; // one for each of events, except for the one that fires
    UINT last_id = 0;
    UINT firing = 0; // 0: none
    bool running = false;
    DWORD thread = 0;                 // its id, once it runs
    std::condition_variable finished; // a callback has ended
    std::atomic<uint32_t> changes{0}; // futex word: changed when the earliest moment may have
};

constinit OfProcess<Scheduler> g_scheduler;

Scheduler& scheduler()
{
    return g_scheduler.get();
}

// The timers, and the thread that runs them, belong to the parent.
const AtFork g_at_fork(ForkStep::timer_events, {nullptr, nullptr, [] { g_scheduler.renew(); }});

// The next moment of a timer after it has fired.
int64_t next_moment(const TimerEvent& event, int64_t now)
{
    const int64_t next = event.due + event.period;
    const int64_t behind = now - next;
    return behind <= most_behind ? next : next + (behind / event.period + 1) * event.period;
}

// Fires the timer of the earliest moment. The lock is held at the call and at the return. False if
// the callback has forked and this is the child, which owns nothing here.
bool fire(Scheduler& self, std::unique_lock<std::mutex>& lock)
{
    auto moment = self.moments.extract(self.moments.begin());
    const UINT id = moment.value().second;
    const TimerEvent event = self.events.find(id)->second;
    self.firing = id;
    lock.unlock();
    event.procedure(id, 0, event.user, 0, 0);
    if (!g_scheduler.is(self))
        return false;
    lock.lock();
    self.firing = 0;
    self.finished.notify_all();
    const auto found = self.events.find(id);
    if (found == self.events.end())
        return true; // killed meanwhile
    if (event.period == 0)
    {
        self.events.erase(found);
        return true;
    }
    found->second.due = next_moment(event, monotonic_ns());
    moment.value().first = found->second.due;
    self.moments.insert(std::move(moment)); // the same node: no memory is needed
    return true;
}

unsigned run(void*)
{
    SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_TIME_CRITICAL);
    ask_for_fine_timers();
    Scheduler& self = scheduler();
    std::unique_lock lock(self.lock);
    self.thread = GetCurrentThreadId();
    for (;;)
    {
        const int64_t due = self.moments.empty() ? -1 : self.moments.begin()->first;
        if (due >= 0 && due <= monotonic_ns())
        {
            if (!fire(self, lock))
                return 0;
            continue;
        }
        const uint32_t changes = self.changes.load(std::memory_order_relaxed);
        lock.unlock();
        futex_wait(&self.changes, changes, due, false);
        lock.lock();
    }
}

// Needs the lock.
bool ensure_thread(Scheduler& self)
{
    if (self.running)
        return true;
    // The new thread waits for the lock; start_thread doesn't wait for that, as it returns as soon
    // as the thread runs.
    const HANDLE thread = start_thread(run, nullptr, 0, nullptr);
    if (!thread)
        return false;
    CloseHandle(thread);
    self.running = true;
    return true;
}

// Needs the lock.
UINT new_id(Scheduler& self)
{
    do
        ++self.last_id;
    while (self.last_id == 0 || self.events.count(self.last_id) != 0);
    return self.last_id;
}

// An id, or 0 without a thread for it. If it throws std::bad_alloc, nothing was changed.
UINT add(const TimerEvent& event)
{
    Scheduler& self = scheduler();
    const std::lock_guard guard(self.lock);
    if (!ensure_thread(self))
        return 0;
    const UINT id = new_id(self);
    const auto moment = self.moments.emplace(event.due, id).first;
    try
    {
        self.events.emplace(id, event);
    }
    catch (const std::bad_alloc&)
    {
        self.moments.erase(moment);
        throw;
    }
    if (moment == self.moments.begin())
    {
        self.changes.fetch_add(1, std::memory_order_relaxed);
        futex_wake(&self.changes, 1, false);
    }
    return id;
}

} // namespace

extern "C" MMRESULT timeSetEvent(UINT delay, UINT, LPTIMECALLBACK procedure, DWORD_PTR user,
                                 UINT flags)
{
    int error = 0;
    TIMECAPS caps = {};
    if (api_fault("timeSetEvent", error) || timeGetDevCaps(&caps, sizeof caps) != TIMERR_NOERROR ||
        !procedure || delay < caps.wPeriodMin || delay > caps.wPeriodMax)
        return 0;
    const int64_t period = delay * nanoseconds_per_millisecond;
    try
    {
        return add({monotonic_ns() + period, (flags & TIME_PERIODIC) != 0 ? period : 0, procedure,
                    user, (flags & TIME_KILL_SYNCHRONOUS) != 0});
    }
    catch (const std::bad_alloc&)
    {
        return 0;
    }
}

extern "C" MMRESULT timeKillEvent(UINT id)
try
{
    Scheduler& self = scheduler();
    std::unique_lock lock(self.lock);
    const auto found = self.events.find(id);
    if (found == self.events.end())
        return MMSYSERR_INVALPARAM;
    const bool wait = found->second.kill_synchronous && self.thread != GetCurrentThreadId();
    self.moments.erase({found->second.due, id}); // none while it fires
    self.events.erase(found);
    if (wait)
        self.finished.wait(lock, [&] { return self.firing != id; });
    return TIMERR_NOERROR;
}
catch (const std::exception& exception)
{
    return failed_by(exception, MMRESULT{TIMERR_NOCANDO});
}
