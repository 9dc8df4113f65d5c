// A worker of the thread pool, from its first call to its end.
#include "threadpool.h"

#include <algorithm>
#include <cerrno>
#include <ctime>

#include <windows.h>

#include <tchar.h>

#include "at_fork.h"

namespace
{

constexpr uint32_t max_waiting = 3;
constexpr uint32_t timeouts[] = {60000, 30000, 15000, 5000}; // ms

// The caller that has created this thread holds the lock until its own wait has returned, in 5 to
// 40 microseconds. If a thread with a short first call slept meanwhile, that caller would have to
// wake it, at a sixth of the cost of the whole call. False if it takes longer.
bool TakeSoon(pthread_mutex_t* mutex)
{
    constexpr double limit = 0.1;        // ms
    constexpr timespec no_time = {0, 0}; // yields the processor to other threads
    const double start = QV_GetTimeCounter();
    do
    {
        if (pthread_mutex_trylock(mutex) == 0)
            return true;
        pthread_delay_np(&no_time);
    } while (QV_GetTimeCounter() - start < limit);
    return false;
}

} // namespace

CThreadPool::ThreadInfo::ThreadInfo()
    : m_Thread(pthread_self()), m_uTimeout(0), m_uWakeTime(0), m_bWaiting(false)
{
    QvPoolRequire(pthread_cond_init(&m_Signal, nullptr) == 0, L"pthread_cond_init(&m_Signal, NULL)",
                  __LINE__);
}

CThreadPool::ThreadInfo::~ThreadInfo()
{
    QvPoolRequire(pthread_cond_destroy(&m_Signal) == 0, L"pthread_cond_destroy(&m_Signal)",
                  __LINE__);
}

void* CThreadPool::WorkerProcedure(void* pool)
{
    static_cast<CThreadPool*>(pool)->Work();
    return nullptr;
}

void CThreadPool::Work()
{
    // Until the first post this thread works under the locks of its creator.
    void* (*call)(void*) = m_pfnCall;
    void* argument = m_pCallArg;
    const uint32_t forks = QvForkCount();
    ThreadInfo info;
    // cppcheck-suppress danglingLifetime ; Remove takes it out again before this returns
    m_ThreadInfo.push_back(&info); // room has been reserved
    ++m_uThreadCount;
    ++m_uWorkingThreadCount;
    CheckCounts();
    PostCtx();
    call(argument);
    if (QvForkCount() != forks)
        return; // in the child of the call: the pool has no workers there

    if (!TakeSoon(QvIn<pthread_mutex_t>(m_ThreadMutex)))
        LockThreads();
    --m_uWorkingThreadCount;
    while (!m_bDestroying)
    {
        const uint32_t timeout = ChooseTimeout();
        if (timeout == 0)
            break;
        WaitForCall(info, timeout);
        // It doesn't matter why the wait ended, but whether there is a call: one may have come for
        // a worker whose time was over but which didn't have the lock yet.
        if (m_bDestroying || m_pCalledThread != &info)
            break;
        call = m_pfnCall;
        argument = m_pCallArg;
        ++m_uWorkingThreadCount;
        m_pCalledThread = nullptr;
        CheckCounts();
        PostCtx();
        UnlockThreads();
        call(argument);
        if (QvForkCount() != forks)
            return;
        LockThreads();
        --m_uWorkingThreadCount;
    }
    Remove(info);
    pthread_ending_np(); // still under the lock: after it, the pool and the library may end
    UnlockThreads();
}

void CThreadPool::CheckCounts() const
{
    QvPoolRequire(m_uThreadCount >= m_uWorkingThreadCount,
                  L"pPool->m_uThreadCount < pPool->m_uWorkingThreadCount", __LINE__);
}

// How many milliseconds the calling worker, counted but not yet marked as waiting, is to wait; 0 if
// enough others wait. Each waiting worker has a different time.
uint32_t CThreadPool::ChooseTimeout() const
{
    QvPoolRequire(m_uThreadCount != 0, L"m_uThreadCount == 0", __LINE__);
    const uint32_t uWaitingThreadsCount = m_uThreadCount - m_uWorkingThreadCount;
    QvPoolRequire(uWaitingThreadsCount != 0, L"uWaitingThreadsCount == 0", __LINE__);
    if (uWaitingThreadsCount > max_waiting)
        return 0;
    for (const uint32_t timeout : timeouts)
        if (std::none_of(m_ThreadInfo.begin(), m_ThreadInfo.end(),
                         [&](const ThreadInfo* info)
                         { return info->m_bWaiting && info->m_uTimeout == timeout; }))
            return timeout;
    return *std::rbegin(timeouts);
}

void CThreadPool::WaitForCall(ThreadInfo& info, uint32_t timeout)
{
    info.m_uTimeout = timeout;
    info.m_bWaiting = true;
    info.m_uWakeTime = QvPoolClock() + timeout;
    const uint32_t seconds = timeout / 1000;
    timespec deadline;
    deadline.tv_sec = static_cast<time_t>(_time64(nullptr) + seconds);
    deadline.tv_nsec = static_cast<long>((timeout / 1000.0 - seconds) * 1e9);
    const int result =
        pthread_cond_timedwait(&info.m_Signal, QvIn<pthread_mutex_t>(m_ThreadMutex), &deadline);
    info.m_bWaiting = false;
    QvPoolRequire(result == 0 || result == ETIMEDOUT, L"true", __LINE__);
}

void CThreadPool::Remove(ThreadInfo& info)
{
    const auto it = std::find(m_ThreadInfo.begin(), m_ThreadInfo.end(), &info);
    QvPoolRequire(it != m_ThreadInfo.end(), L"it == m_ThreadInfo.end()", __LINE__);
    if (it != m_ThreadInfo.end())
    {
        m_ThreadInfo.erase(it);
        --m_uThreadCount;
    }
    if (m_bDestroying && m_ThreadInfo.empty())
        QvPoolSignal(QvIn<pthread_cond_t>(m_FinishSignal));
}
