// The plain mutual exclusion lock: a mutex of the system behind a handle.
//
// The memory of a lock that was destroyed is kept for the next one and never given back: a thread
// that comes too late, while a process ends, finds a lock that refuses and not somebody else's
// memory.
#include <atomic>
#include <cerrno>
#include <new>

#include "plinth_w32_pthreadVC.h"

struct pthread_mutexCS_t_
{
    pthread_mutex_t mutex;
    std::atomic<bool> live{false};
    pthread_mutexCS_t_* next = nullptr; // while it is not used
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

// The lock behind a handle that is made and not destroyed, or null.
pthread_mutexCS_t Live(pthread_mutexCS_t* handle)
{
    if (!handle)
        return nullptr;
    pthread_mutexCS_t const lock = std::atomic_ref(*handle).load(std::memory_order_acquire);
    return lock && lock->live.load(std::memory_order_acquire) ? lock : nullptr;
}

} // namespace

extern "C" int pthread_mutexCS_init(pthread_mutexCS_t* lock, const pthread_mutexCSattr_t*)
{
    if (!lock)
        return EINVAL;
    pthread_mutexCS_t const made = TakeMemory();
    if (!made)
        return ENOMEM;
    const int error = pthread_mutex_init(&made->mutex, nullptr);
    if (error)
    {
        KeepMemory(made);
        return error;
    }
    made->live.store(true, std::memory_order_release);
    std::atomic_ref(*lock).store(made, std::memory_order_release);
    return 0;
}

extern "C" int pthread_mutexCS_destroy(pthread_mutexCS_t* lock)
{
    pthread_mutexCS_t const gone = Live(lock);
    if (!gone)
        return EINVAL;
    std::atomic_ref(*lock).store(nullptr, std::memory_order_release);
    gone->live.store(false, std::memory_order_release);
    const int error = pthread_mutex_destroy(&gone->mutex);
    KeepMemory(gone);
    return error;
}

extern "C" int pthread_mutexCS_lock(pthread_mutexCS_t* lock)
{
    pthread_mutexCS_t const live = Live(lock);
    return live ? pthread_mutex_lock(&live->mutex) : EINVAL;
}

extern "C" int pthread_mutexCS_trylock(pthread_mutexCS_t* lock)
{
    pthread_mutexCS_t const live = Live(lock);
    return live ? pthread_mutex_trylock(&live->mutex) : EINVAL;
}

extern "C" int pthread_mutexCS_unlock(pthread_mutexCS_t* lock)
{
    pthread_mutexCS_t const live = Live(lock);
    return live ? pthread_mutex_unlock(&live->mutex) : EINVAL;
}
