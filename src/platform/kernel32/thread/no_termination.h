// Holding off the termination of the calling thread.
#pragma once

#include <mutex>

namespace platform
{

// While one exists on a thread, TerminateThread of that thread waits. For short work on tables that
// the rest of the process still needs.
class NoTermination
{
public:
    NoTermination();
    NoTermination(const NoTermination&) = delete;
    NoTermination& operator=(const NoTermination&) = delete;
    ~NoTermination();
};

// A lock that stays usable when threads are terminated: a holder is terminated only after it has
// released the lock.
template <class Mutex> class Uninterrupted
{
public:
    explicit Uninterrupted(Mutex& mutex) : m_guard(mutex) {}

private:
    const NoTermination m_no_termination; // before the lock is taken, until after its release
    const std::lock_guard<Mutex> m_guard;
};

// The handler of the signal that TerminateThread sends: ends the calling thread if the signal is
// meant for it, or leaves that to its outermost guard.
void on_terminate(int);

} // namespace platform
