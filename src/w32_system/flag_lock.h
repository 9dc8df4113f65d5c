// A lock that is a flag, for what is held over a few instructions and is hardly ever waited for: it
// costs half of a critical section, and needs no making, so that it works before the library's
// objects are made and after their end.
#pragma once

#include <atomic>

#include <windows.h>

class QvFlagLock
{
public:
    void Take()
    {
        // To sleep is for the sake of a holder with a lower priority, which would not come to run.
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
