// The thread pool.
#ifndef PLINTH_W32_SYSTEM_THREAD_POOL_H
#define PLINTH_W32_SYSTEM_THREAD_POOL_H

#include <cstdint>
#include <vector>

#include "base.h"

// -------------------------------------------------------------------------------- thread pool --

// Runs functions on threads that are kept for a while, so that not every call has to start a
// thread.
//
// In a forked child a pool has no threads at first; calls that were running belong to the parent.
//
// It is not a queue: each call is passed at once to a waiting thread, or to a new one if none
// waits; only the system limits their number. Up to three threads wait for calls, for 60, 30 and 15
// seconds (whole seconds of the calendar clock, so up to a second less), and then end: an idle pool
// has none. Any thread may make calls, also from within a call of the same pool.
class CThreadPool
{
public:
    // A pool without threads; freed by DestroyThreadPool. Null without memory for it.
    QV_API static CThreadPool* CreateThreadPool();

    // Waits for running calls without a time limit, ends all threads, and frees the pool. Null is
    // refused. Not to be called from a call of the pool, nor twice; no thread may still make calls.
    // All pools must be destroyed before the library is unloaded; on Linux unloading then waits
    // until the last of their threads have left its code.
    QV_API static void DestroyThreadPool(CThreadPool* pPool);

    // Passes pfn(pArg) to a thread and returns as soon as the thread has taken it. The result of
    // pfn is ignored; it must not throw. QV_ERR_SYSTEM: no thread waited and none could be created;
    // nothing was called, and the pool stays usable. A call to a waiting thread allocates nothing.
    QV_API int MakeCallFromThreadPool(void* (*pfn)(void*), void* pArg);

    CThreadPool(const CThreadPool&) = delete;
    CThreadPool& operator=(const CThreadPool&) = delete;

private:
    // Mutexes, a condition and a semaphore of the threads module.
#if defined(_WIN32)
    typedef QvRoomFor<8> Mutex;
    typedef QvRoomFor<8> Condition;
    typedef QvRoomFor<8> Semaphore;
#else
#if defined(__aarch64__)
    typedef QvRoomFor<48> Mutex;
#else
    typedef QvRoomFor<40> Mutex;
#endif
    typedef QvRoomFor<48> Condition;
    typedef QvRoomFor<32> Semaphore;
#endif
    struct ThreadInfo;

    CThreadPool();
    ~CThreadPool();

    void LockPool();
    void UnlockPool();
    void LockThreads();
    void UnlockThreads();
    void WaitCtx();
    void PostCtx();

    bool MakeRoom();
    ThreadInfo* ChooseWorker() const;
    uint32_t ChooseTimeout() const;
    void WaitForCall(ThreadInfo& info, uint32_t timeout);
    void Remove(ThreadInfo& info);
    void CheckCounts() const;
    void Work();
    static void* WorkerProcedure(void* pool);
    void Enter();
    void TakeOut();
    void Renew();
    static void RenewAll();
    friend struct QvPoolsAtFork;

    // Lock order: m_PoolMutex, then m_ThreadMutex. The first makes callers take turns; the second
    // guards everything else except m_CtxSem.
    Mutex m_PoolMutex;
    Mutex m_ThreadMutex;
    Condition m_FinishSignal;       // the last worker has left a pool that is being destroyed
    uint32_t m_uThreadCount;        // workers in m_ThreadInfo
    uint32_t m_uWorkingThreadCount; // those of them in a call or about to enter one
    bool m_bDestroying;             // set once
    ThreadInfo* m_pCalledThread;    // chosen for the call in the mailbox
    std::vector<ThreadInfo*> m_ThreadInfo; // in the order of their start; each on its own stack
    Semaphore m_CtxSem;                    // posted when the mailbox has been emptied
    void* (*m_pfnCall)(void*);             // the mailbox: one call
    void* m_pCallArg;
    CThreadPool* m_pNext; // in the list of all pools
};

#endif
