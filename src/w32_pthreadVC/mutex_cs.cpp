// The plain mutual exclusion lock: a handle for a mutex of the system.
//
// A destroyed lock is kept for the next one, with its mutex, and its memory is never freed. So a
// thread that comes too late, while a process ends, finds a lock that refuses it rather than memory
// in other use, and a thread that still holds the lock can release it.
#include <atomic>
#include <cerrno>
#include <new>

#include <sched.h>

#include "../platform/system/lock_wait.h"
#include "at_fork.h"
#include "plinth_w32_pthreadVC.h"

struct pthread_mutexCS_t_
{
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    std::atomic<bool> live{false};
    pthread_mutexCS_t_* next = nullptr; // set while the lock is not used
};

namespace
{

pthread_mutex_t s_freeLock = PTHREAD_MUTEX_INITIALIZER; // guards s_free
pthread_mutexCS_t s_free = nullptr;

pthread_mutexCS_t TakeMemory()
{
    pthread_mutex_lock(&s_freeLock);
    pthread_mutexCS_t taken = s_free;
    if (taken)
        s_free = taken->next;
    pthread_mutex_unlock(&s_freeLock);
    return taken ? taken : new (std::nothrow) pthread_mutexCS_t_;
}

void KeepMemory(pthread_mutexCS_t lock)
{
    pthread_mutex_lock(&s_freeLock);
    lock->next = s_free;
    s_free = lock;
    pthread_mutex_unlock(&s_freeLock);
}

bool IsInitialValue(pthread_mutexCS_t lock)
{
    return lock == PTHREAD_MUTEXCS_INITIALIZER;
}

// Creates the lock of a handle that still has its initial value. Of several threads at the same
// time, one succeeds. False without memory.
bool MakeStatic(pthread_mutexCS_t* handle)
{
    pthread_mutexCS_t const made = TakeMemory();
    if (!made)
        return false;
    made->live.store(true, std::memory_order_release);
    pthread_mutexCS_t expected = PTHREAD_MUTEXCS_INITIALIZER;
    if (!std::atomic_ref(*handle).compare_exchange_strong(expected, made,
                                                          std::memory_order_acq_rel))
    {
        made->live.store(false, std::memory_order_release);
        KeepMemory(made);
    }
    return true;
}

// The lock of a handle, if it was created and not destroyed; otherwise null.
pthread_mutexCS_t Live(pthread_mutexCS_t* handle)
{
    if (!handle)
        return nullptr;
    pthread_mutexCS_t const lock = std::atomic_ref(*handle).load(std::memory_order_acquire);
    if (!lock || IsInitialValue(lock))
        return nullptr;
    return lock->live.load(std::memory_order_acquire) ? lock : nullptr;
}

struct Found
{
    pthread_mutexCS_t lock;
    int error; // or 0
};

// Called when a thread wants the lock and Live has found none: creates it if the handle has the
// initial value. Not inlined, because every call would pay for it.
[[gnu::noinline]] Found MakeLive(pthread_mutexCS_t* handle)
{
    if (handle && IsInitialValue(std::atomic_ref(*handle).load(std::memory_order_acquire)) &&
        !MakeStatic(handle))
        return {nullptr, ENOMEM};
    pthread_mutexCS_t const lock = Live(handle);
    return {lock, lock ? 0 : EINVAL};
}

// Takes the lock by the given call. 0 or an error. Not noexcept: the call is declared so in the C
// library of Linux, but not in others.
template <int (*call)(pthread_mutex_t*)> int Take(pthread_mutexCS_t* handle)
{
    Found found = {Live(handle), 0};
    if (!found.lock) [[unlikely]]
        found = MakeLive(handle);
    if (found.error) [[unlikely]]
        return found.error;
    const int error = call(&found.lock->mutex);
    if (error || found.lock->live.load(std::memory_order_acquire))
        return error;
    pthread_mutex_unlock(&found.lock->mutex); // destroyed after this thread had found it
    return EINVAL;
}

// The log's threads wait for the one that writes. Not inlined, because every call would pay for it.
[[gnu::noinline]] int WaitLooking(pthread_mutex_t* mutex)
{
    int result = EBUSY;
    const auto attempt = [mutex, &result]
    {
        result = pthread_mutex_trylock(mutex);
        return result != EBUSY;
    };
    return platform::taken_by_looking(attempt, sched_yield) ? result : pthread_mutex_lock(mutex);
}

int LockLooking(pthread_mutex_t* mutex)
{
    const int result = pthread_mutex_trylock(mutex);
    return result != EBUSY ? result : WaitLooking(mutex);
}

} // namespace

void LockFreeList()
{
    pthread_mutex_lock(&s_freeLock);
}

void UnlockFreeList()
{
    pthread_mutex_unlock(&s_freeLock);
}

extern "C" int pthread_mutexCS_init(pthread_mutexCS_t* lock, const pthread_mutexCSattr_t*)
{
    if (!lock)
        return EINVAL;
    pthread_mutexCS_t const made = TakeMemory();
    if (!made)
        return ENOMEM;
    made->live.store(true, std::memory_order_release);
    std::atomic_ref(*lock).store(made, std::memory_order_release);
    return 0;
}

extern "C" int pthread_mutexCS_destroy(pthread_mutexCS_t* lock)
{
    pthread_mutexCS_t unused = PTHREAD_MUTEXCS_INITIALIZER;
    if (lock && std::atomic_ref(*lock).compare_exchange_strong(unused, nullptr))
        return 0; // never taken
    pthread_mutexCS_t const gone = Live(lock);
    if (!gone)
        return EINVAL;
    std::atomic_ref(*lock).store(nullptr, std::memory_order_release);
    gone->live.store(false, std::memory_order_release);
    KeepMemory(gone);
    return 0;
}

extern "C" int pthread_mutexCS_lock(pthread_mutexCS_t* lock)
{
    return Take<LockLooking>(lock);
}

extern "C" int pthread_mutexCS_trylock(pthread_mutexCS_t* lock)
{
    return Take<pthread_mutex_trylock>(lock);
}

extern "C" int pthread_mutexCS_unlock(pthread_mutexCS_t* lock)
{
    if (!lock)
        return EINVAL;
    // Also a lock that has been destroyed meanwhile, through a copy of its handle.
    pthread_mutexCS_t const held = std::atomic_ref(*lock).load(std::memory_order_acquire);
    return held && !IsInitialValue(held) ? pthread_mutex_unlock(&held->mutex) : EINVAL;
}
