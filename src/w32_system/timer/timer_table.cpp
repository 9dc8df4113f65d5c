#include "timer_table.h"

#include <algorithm>
#include <new>

#include <utility>

#include <windows.h>

#include "at_fork.h"

pthread_mutexCS_t gs_TimerLock = PTHREAD_MUTEXCS_INITIALIZER;

namespace
{

alignas(QvTimers) unsigned char s_table[sizeof(QvTimers)]; // gs_TimerLock; never destroyed
unsigned int gs_uNextTimerId = 1;                          // gs_TimerLock; it only grows

QvTimers& Table()
{
    return *std::launder(reinterpret_cast<QvTimers*>(s_table));
}

// For the flags of all timers; no other lock is taken under it. A flag is raised once in a timer's
// life.
pthread_mutex_t s_flagMutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t s_flagRaised = PTHREAD_COND_INITIALIZER;

// The callbacks that a thread is in, the innermost first.
struct CallMark
{
    explicit CallMark(QvTimer& called);
    CallMark(const CallMark&) = delete;
    CallMark& operator=(const CallMark&) = delete;
    ~CallMark();

    const QvTimer& timer;
    const CallMark* const outer;
};
thread_local const CallMark* t_pCall = nullptr;

CallMark::CallMark(QvTimer& called) : timer(called), outer(t_pCall)
{
    t_pCall = this;
}

CallMark::~CallMark()
{
    t_pCall = outer;
}

// Needs gs_TimerLock. Never 0, which means failure to the callers that set timers.
unsigned int NextId()
{
    unsigned int id;
    do
        id = gs_uNextTimerId++;
    while (id == 0 || QvFindTimer(id));
    return id;
}

// A child has none of its parent's timers, but their ids count as used.
void RenewInChild()
{
    QvLeaveToParent(gs_TimerLock);
    gs_TimerLock = PTHREAD_MUTEXCS_INITIALIZER;
    if (auto* const former = new (std::nothrow) QvTimers(std::move(Table())))
        QvLeaveToParent(former);
    const QvTimerMap anew;
    pthread_mutex_init(&s_flagMutex, nullptr);
    pthread_cond_init(&s_flagRaised, nullptr);
}

const QvAtFork s_atFork(QvForkStep::timers, {nullptr, nullptr, RenewInChild});

} // namespace

// Takes the lock once, which creates it, so that taking it later can't fail.
QvTimerMap::QvTimerMap()
{
    const QvTimerGuard guard;
    ::new (static_cast<void*>(s_table)) QvTimers;
}

QvTimerNode QvMakeTimerNode(QvTimer& timer)
{
    QvTimers entries;
    return entries.extract(entries.emplace(0, &timer).first);
}

uintptr_t QvPublishTimer(QvTimerPointer timer, QvTimerNode node)
{
    uint64_t id;
    {
        const QvTimerGuard guard;
        id = NextId();
        QvEnterTimer(std::move(node), id);
        QvRaiseTimerFlag(timer.release()->bPublished);
    }
    return id;
}

QvTimer* QvFindTimer(uint64_t id)
{
    const auto it = Table().find(id);
    return it == Table().end() ? nullptr : static_cast<QvTimer*>(it->second);
}

bool QvHasTimers(int32_t kind)
{
    return std::any_of(Table().begin(), Table().end(),
                       [&](const auto& entry)
                       { return static_cast<const QvTimer*>(entry.second)->iKind == kind; });
}

bool QvWasTimerId(uint64_t id)
{
    return id < gs_uNextTimerId;
}

void QvEnterTimer(QvTimerNode node, uint64_t id)
{
    node.mapped()->uId = id;
    node.key() = id;
    Table().insert(std::move(node));
}

void QvTakeOutTimer(QvTimer& timer)
{
    const auto it = Table().find(timer.uId);
    if (it == Table().end())
        DiagAssertW(0, L"it==gs_TimerHandleMap.end()", nullptr, timer_source_name, __LINE__);
    else
        Table().erase(it);
}

bool QvIsTimerStopped(QvTimer& timer)
{
    return std::atomic_ref(timer.bStop).load(std::memory_order_acquire) != 0;
}

void QvStopTimer(QvTimer& timer)
{
    std::atomic_ref(timer.bStop).store(1, std::memory_order_release);
}

void QvAwaitTimerFlag(const std::atomic<bool>& flag)
{
    if (flag.load(std::memory_order_acquire))
        return;
    pthread_mutex_lock(&s_flagMutex);
    while (!flag.load(std::memory_order_acquire))
        pthread_cond_wait(&s_flagRaised, &s_flagMutex);
    pthread_mutex_unlock(&s_flagMutex);
}

void QvRaiseTimerFlag(std::atomic<bool>& flag)
{
    pthread_mutex_lock(&s_flagMutex);
    flag.store(true, std::memory_order_release);
    pthread_cond_broadcast(&s_flagRaised);
    pthread_mutex_unlock(&s_flagMutex);
}

int QvCallTimer(QvTimer& timer)
{
    const CallMark mark(timer);
    return timer.pfnCallback(timer.pData);
}

const QvTimer* QvCurrentTimer()
{
    return t_pCall ? &t_pCall->timer : nullptr;
}

bool QvIsInTimerCallback(uint64_t id)
{
    for (const CallMark* mark = t_pCall; mark; mark = mark->outer)
        if (mark->timer.uId == id)
            return true;
    return false;
}

UINT QvTimerMilliseconds(const QvTimer& timer)
{
    return static_cast<UINT>(std::min<int64_t>(timer.i64IntervalNs / 1'000'000, UINT32_MAX));
}
