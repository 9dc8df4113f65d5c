// Shared by the pool's two source files: a worker's record, and how a failed call is reported.
#pragma once

#include <plinth_w32_pthreadVC.h>

#include "plinth_w32_system.h"

// The object of the threads module inside the room that an interface class reserves for it.
template <class T, unsigned bytes> T* QvIn(QvRoomFor<bytes>& place)
{
    static_assert(sizeof(T) == bytes && alignof(T) == alignof(QvRoomFor<bytes>));
    return reinterpret_cast<T*>(place.room);
}

// One worker. It lives on the worker's own stack; the pool holds a pointer to it, guarded with all
// its fields by the pool's thread mutex.
struct CThreadPool::ThreadInfo
{
    ThreadInfo();
    ~ThreadInfo();
    ThreadInfo(const ThreadInfo&) = delete;
    ThreadInfo& operator=(const ThreadInfo&) = delete;

    pthread_t m_Thread;
    uint32_t m_uTimeout;  // ms, the length of the wait while m_bWaiting is true
    uint32_t m_uWakeTime; // when that wait ends: the library's clock in ms, cut to 32 bits
    bool m_bWaiting;
    pthread_cond_t m_Signal; // each worker has its own, so that a chosen one can be woken
};

// Reports a broken assumption, with the condition or the failed call as text, and continues: the
// pool has no better reaction to a lock that fails.
inline void QvPoolRequire(bool good, const wchar_t* failure, int line)
{
    if (!good) [[unlikely]]
        DiagAssertW(0, failure, nullptr, "src\\w32_system\\threadpool\\threadpool", line);
}

// The library's clock in whole milliseconds, cut to 32 bits. Differences stay right after the cut.
inline uint32_t QvPoolClock()
{
    return static_cast<uint32_t>(static_cast<int64_t>(QV_GetTimeCounter()));
}

inline void QvPoolSignal(pthread_cond_t* condition)
{
    QvPoolRequire(pthread_cond_signal(condition) == 0, L"pthread_cond_signal(pSignal)", __LINE__);
}
