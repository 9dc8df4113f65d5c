// The plain mutual exclusion lock: a mutex of the system on the heap, behind a handle.
#include <cerrno>
#include <new>

#include "plinth_w32_pthreadVC.h"

struct pthread_mutexCS_t_
{
    pthread_mutex_t mutex;
};

extern "C" int pthread_mutexCS_init(pthread_mutexCS_t* lock, const pthread_mutexCSattr_t*)
{
    if (!lock)
        return EINVAL;
    pthread_mutexCS_t made = new (std::nothrow) pthread_mutexCS_t_;
    if (!made)
        return ENOMEM;
    const int error = pthread_mutex_init(&made->mutex, nullptr);
    if (error)
    {
        delete made;
        return error;
    }
    *lock = made;
    return 0;
}

extern "C" int pthread_mutexCS_destroy(pthread_mutexCS_t* lock)
{
    if (!lock || !*lock)
        return EINVAL;
    pthread_mutexCS_t const gone = *lock;
    *lock = nullptr;
    const int error = pthread_mutex_destroy(&gone->mutex);
    delete gone;
    return error;
}

extern "C" int pthread_mutexCS_lock(pthread_mutexCS_t* lock)
{
    return lock && *lock ? pthread_mutex_lock(&(*lock)->mutex) : EINVAL;
}

extern "C" int pthread_mutexCS_trylock(pthread_mutexCS_t* lock)
{
    return lock && *lock ? pthread_mutex_trylock(&(*lock)->mutex) : EINVAL;
}

extern "C" int pthread_mutexCS_unlock(pthread_mutexCS_t* lock)
{
    return lock && *lock ? pthread_mutex_unlock(&(*lock)->mutex) : EINVAL;
}
