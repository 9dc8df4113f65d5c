// Holding a plain lock of the threads module for a scope.
#pragma once

#include <atomic>

#include <plinth_w32_pthreadVC.h>

// Keeps a copy of the handle: even if the library meanwhile ends and destroys the lock, the guard
// can release it.
class QvMutexGuard
{
public:
    explicit QvMutexGuard(pthread_mutexCS_t& lock)
        : m_lock(std::atomic_ref(lock).load(std::memory_order_acquire)),
          m_held(pthread_mutexCS_lock(&m_lock) == 0)
    {
    }
    QvMutexGuard(const QvMutexGuard&) = delete;
    QvMutexGuard& operator=(const QvMutexGuard&) = delete;
    ~QvMutexGuard()
    {
        if (m_held)
            pthread_mutexCS_unlock(&m_lock);
    }
    // False for a lock that was never created or has been destroyed.
    bool Held() const { return m_held; }

private:
    pthread_mutexCS_t m_lock;
    const bool m_held;
};
