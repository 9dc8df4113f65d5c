// The thread pool for its callers: creating it, making a call, ending it.
//
// A call passes through a mailbox with room for one. The pool mutex lets in one caller at a time;
// the worker that has emptied the mailbox posts m_CtxSem, and the caller continues.
#include "threadpool.h"

#include <algorithm>
#include <cerrno>
#include <new>

#include "at_fork.h"

namespace
{

constexpr const char* source_name = "src\\w32_system\\threadpool\\threadpool";

// The list of all pools, for a fork.
pthread_mutex_t s_listLock = PTHREAD_MUTEX_INITIALIZER; // guards the list; no lock taken under it
CThreadPool* s_first = nullptr;

} // namespace

struct QvPoolsAtFork
{
    static void Take() { pthread_mutex_lock(&s_listLock); }
    static void Release() { pthread_mutex_unlock(&s_listLock); }
    static void Renew() { CThreadPool::RenewAll(); }
};

namespace
{

const QvAtFork s_atFork(QvForkStep::thread_pools,
                        {QvPoolsAtFork::Take, QvPoolsAtFork::Release, QvPoolsAtFork::Renew});

} // namespace

void CThreadPool::Enter()
{
    pthread_mutex_lock(&s_listLock);
    m_pNext = s_first;
    s_first = this;
    pthread_mutex_unlock(&s_listLock);
}

void CThreadPool::TakeOut()
{
    pthread_mutex_lock(&s_listLock);
    CThreadPool** at = &s_first;
    while (*at != this)
        at = &(*at)->m_pNext;
    *at = m_pNext;
    pthread_mutex_unlock(&s_listLock);
}

// In a forked child: the locks may be held by threads that don't exist there. Nor do the workers,
// and their records are on their stacks.
void CThreadPool::Renew()
{
    pthread_mutex_init(QvIn<pthread_mutex_t>(m_PoolMutex), nullptr);
    pthread_mutex_init(QvIn<pthread_mutex_t>(m_ThreadMutex), nullptr);
    pthread_cond_init(QvIn<pthread_cond_t>(m_FinishSignal), nullptr);
    sem_init(QvIn<sem_t>(m_CtxSem), 0, 0);
    m_uThreadCount = 0;
    m_uWorkingThreadCount = 0;
    m_pCalledThread = nullptr;
    QvLeaveToParent(m_ThreadInfo.data());
    ::new (static_cast<void*>(&m_ThreadInfo)) std::vector<ThreadInfo*>;
}

void CThreadPool::RenewAll()
{
    for (CThreadPool* each = s_first; each; each = each->m_pNext)
        each->Renew();
}

CThreadPool* CThreadPool::CreateThreadPool()
{
    return new (std::nothrow) CThreadPool;
}

CThreadPool::CThreadPool()
    : m_uThreadCount(0), m_uWorkingThreadCount(0), m_bDestroying(false), m_pCalledThread(nullptr),
      m_pfnCall(nullptr), m_pCallArg(nullptr), m_pNext(nullptr)
{
    DiagOutputExW_hlp(source_name, __LINE__);
    if (CQvLogFile::Detail())
        DiagOutputExW(L"Thread Pool, constructor");
    QvPoolRequire(pthread_mutex_init(QvIn<pthread_mutex_t>(m_PoolMutex), nullptr) == 0,
                  L"pthread_mutex_init(&m_PoolMutex, NULL)", __LINE__);
    QvPoolRequire(pthread_mutex_init(QvIn<pthread_mutex_t>(m_ThreadMutex), nullptr) == 0,
                  L"pthread_mutex_init(&m_ThreadMutex, NULL)", __LINE__);
    QvPoolRequire(pthread_cond_init(QvIn<pthread_cond_t>(m_FinishSignal), nullptr) == 0,
                  L"pthread_cond_init(&m_FinishSignal, NULL)", __LINE__);
    QvPoolRequire(sem_init(QvIn<sem_t>(m_CtxSem), 0, 0) == 0, L"sem_init (&m_CtxSem, 0, 0)",
                  __LINE__);
    Enter();
}

CThreadPool::~CThreadPool()
{
    TakeOut();
    QvPoolRequire(sem_destroy(QvIn<sem_t>(m_CtxSem)) == 0, L"sem_destroy(&m_CtxSem)", __LINE__);
    QvPoolRequire(pthread_cond_destroy(QvIn<pthread_cond_t>(m_FinishSignal)) == 0,
                  L"pthread_cond_destroy(&m_FinishSignal)", __LINE__);
    QvPoolRequire(pthread_mutex_destroy(QvIn<pthread_mutex_t>(m_ThreadMutex)) == 0,
                  L"pthread_mutex_destroy(&m_ThreadMutex)", __LINE__);
    QvPoolRequire(pthread_mutex_destroy(QvIn<pthread_mutex_t>(m_PoolMutex)) == 0,
                  L"pthread_mutex_destroy(&m_PoolMutex)", __LINE__);
    DiagOutputExW_hlp(source_name, __LINE__);
    if (CQvLogFile::Detail())
        DiagOutputExW(L"Thread Pool, destructor");
}

void CThreadPool::DestroyThreadPool(CThreadPool* pPool)
{
    QvPoolRequire(pPool != nullptr, L"!pPool", __LINE__);
    if (!pPool)
        return;
    pPool->LockPool();
    pPool->LockThreads();
    DiagOutputExW_hlp(source_name, __LINE__);
    if (CQvLogFile::Detail())
        DiagOutputExW(L"Thread Pool, started destroying all threads, m_uThreadCount = %d",
                      pPool->m_uThreadCount);
    pPool->m_bDestroying = true;
    for (ThreadInfo* const info : pPool->m_ThreadInfo)
        if (info->m_bWaiting)
            QvPoolSignal(&info->m_Signal);
    // The wait may end without a signal.
    while (pPool->m_uThreadCount != 0)
    {
        const bool good = pthread_cond_wait(QvIn<pthread_cond_t>(pPool->m_FinishSignal),
                                            QvIn<pthread_mutex_t>(pPool->m_ThreadMutex)) == 0;
        QvPoolRequire(good, L"pthread_cond_wait(&m_FinishSignal, &m_ThreadMutex)", __LINE__);
    }
    pPool->UnlockThreads();
    pPool->UnlockPool();
    delete pPool;
}

int CThreadPool::MakeCallFromThreadPool(void* (*pfn)(void*), void* pArg)
{
    LockPool();
    LockThreads();
    m_pfnCall = pfn;
    m_pCallArg = pArg;
    if (m_uWorkingThreadCount != m_uThreadCount)
    {
        ThreadInfo* const info = ChooseWorker();
        QvPoolRequire(info != nullptr, L"!pThreadInfo", __LINE__);
        if (info)
        {
            m_pCalledThread = info;
            QvPoolSignal(&info->m_Signal);
            UnlockThreads(); // the worker needs this lock to return from its wait
            WaitCtx();
            UnlockPool();
            return QV_OK;
        }
    }
    // Reserved before the worker is created, because the worker has no way to report that its
    // record found no room.
    pthread_t thread;
    if (!MakeRoom() || pthread_create(&thread, nullptr, WorkerProcedure, this) != 0)
    {
        UnlockThreads();
        UnlockPool();
        return QV_ERR_SYSTEM;
    }
    QvPoolRequire(pthread_detach(thread) == 0, L"pthread_detach(thread)", __LINE__);
    // This thread's lock is held across the wait; under it the new worker adds its record.
    WaitCtx();
    UnlockThreads();
    UnlockPool();
    return QV_OK;
}

// False if memory for one more worker is missing; the pool is unchanged then.
bool CThreadPool::MakeRoom()
{
    if (m_ThreadInfo.size() < m_ThreadInfo.capacity())
        return true;
    try
    {
        m_ThreadInfo.reserve(std::max<size_t>(4, 2 * m_ThreadInfo.capacity()));
        return true;
    }
    catch (...)
    {
        return false;
    }
}

// The waiting worker with the most time left, the earliest if several are equal. Workers whose time
// is nearly over can then end, so that the pool shrinks. If none has time left, the last waiting
// worker.
CThreadPool::ThreadInfo* CThreadPool::ChooseWorker() const
{
    const uint32_t now = QvPoolClock();
    ThreadInfo* last = nullptr;
    ThreadInfo* best = nullptr;
    uint32_t most = 0;
    for (ThreadInfo* const info : m_ThreadInfo)
    {
        if (!info->m_bWaiting)
            continue;
        last = info;
        if (info->m_uWakeTime > now && info->m_uWakeTime - now > most)
        {
            best = info;
            most = info->m_uWakeTime - now;
        }
    }
    return best ? best : last;
}

void CThreadPool::LockPool()
{
    QvPoolRequire(pthread_mutex_lock(QvIn<pthread_mutex_t>(m_PoolMutex)) == 0,
                  L"pthread_mutex_lock(&m_PoolMutex)", __LINE__);
}

void CThreadPool::UnlockPool()
{
    QvPoolRequire(pthread_mutex_unlock(QvIn<pthread_mutex_t>(m_PoolMutex)) == 0,
                  L"pthread_mutex_unlock(&m_PoolMutex)", __LINE__);
}

void CThreadPool::LockThreads()
{
    QvPoolRequire(pthread_mutex_lock(QvIn<pthread_mutex_t>(m_ThreadMutex)) == 0,
                  L"pthread_mutex_lock(&m_ThreadMutex)", __LINE__);
}

void CThreadPool::UnlockThreads()
{
    QvPoolRequire(pthread_mutex_unlock(QvIn<pthread_mutex_t>(m_ThreadMutex)) == 0,
                  L"pthread_mutex_unlock(&m_ThreadMutex)", __LINE__);
}

// A signal handler of the application may interrupt the wait; this is no failure.
void CThreadPool::WaitCtx()
{
    int result;
    while ((result = sem_wait(QvIn<sem_t>(m_CtxSem))) != 0 && errno == EINTR)
    {
    }
    QvPoolRequire(result == 0, L"sem_wait(&m_CtxSem)", __LINE__);
}

void CThreadPool::PostCtx()
{
    QvPoolRequire(sem_post(QvIn<sem_t>(m_CtxSem)) == 0, L"sem_post(&m_CtxSem)", __LINE__);
}
