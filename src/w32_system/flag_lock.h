// A lock made of one flag, for sections of a few instructions that seldom have to wait. It costs
// half of a critical section and needs no construction, so it works before the library's objects
// are built and after they are destroyed.
#pragma once

#include <atomic>

#include <windows.h>

class QvFlagLock
{
public:
    void Take()
    {
        // Sleeping lets a holder with a lower priority run, which would otherwise get no processor.
        constexpr int tries_in_a_row = 100;
        for (int i = 0; m_taken.exchange(true, std::memory_order_acquire); ++i)
            Sleep(i < tries_in_a_row ? 0 : 1);
    }
    void Release() { m_taken.store(false, std::memory_order_release); }

private:
    std::atomic<bool> m_taken{false};
};

class QvFlagGuard
{
public:
    explicit QvFlagGuard(QvFlagLock& lock) : m_lock(lock) { m_lock.Take(); }
    QvFlagGuard(const QvFlagGuard&) = delete;
    QvFlagGuard& operator=(const QvFlagGuard&) = delete;
    ~QvFlagGuard() { m_lock.Release(); }

private:
    QvFlagLock& m_lock;
};
