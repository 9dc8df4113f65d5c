// plinth_w32_pthreadVC: POSIX threads for the library and for the modules above it.
//
// On Linux the ordinary names (pthread_create, pthread_mutex_lock, pthread_cond_wait, sem_wait,
// pthread_atfork, ...) are the system's own, on Windows those of the compiler's POSIX layer, where
// pthread_atfork does nothing: there are no forks. This header includes them and adds what the
// module offers in addition: pthread_delay_np, a plain mutual exclusion lock, and a way to unload
// code that detached threads have run.
#ifndef PLINTH_W32_PTHREADVC_H
#define PLINTH_W32_PTHREADVC_H

#include <pthread.h>
#include <semaphore.h>
#include <time.h>

// Marks the exported names of the module.
#if defined(_WIN32)
#if defined(PLINTH_W32_PTHREADVC_BUILD)
#define PLINTH_PTHREAD_API __declspec(dllexport)
#else
#define PLINTH_PTHREAD_API __declspec(dllimport)
#endif
#else
#define PLINTH_PTHREAD_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C"
{
#endif

    // A plain mutual exclusion lock: a pointer-sized handle, null before pthread_mutexCS_init and
    // after pthread_mutexCS_destroy. It isn't recursive, records no owner and belongs to one
    // process. A forked child has a copy in the state at the fork: a program that shares a lock
    // between threads and forks takes it before the fork (pthread_atfork) and releases it in both
    // processes.
    typedef struct pthread_mutexCS_t_* pthread_mutexCS_t;

    // Attributes: none exist, pass null.
    typedef struct pthread_mutexCSattr_t_* pthread_mutexCSattr_t;

    // The initial value of a static lock that needs no pthread_mutexCS_init: the lock is created
    // when it is first taken, and only then may taking it return ENOMEM.
#define PTHREAD_MUTEXCS_INITIALIZER ((pthread_mutexCS_t)-1)

    // Creates a lock into *lock. 0, EINVAL for a null pointer, ENOMEM.
    PLINTH_PTHREAD_API int pthread_mutexCS_init(pthread_mutexCS_t* lock,
                                                const pthread_mutexCSattr_t* attributes);

    // Destroys the lock and sets *lock to null; no thread may hold it or wait for it. 0 or EINVAL.
    PLINTH_PTHREAD_API int pthread_mutexCS_destroy(pthread_mutexCS_t* lock);

    // Takes the lock, waiting without a limit. 0, or EINVAL for a lock that was never created and
    // doesn't have the initial value.
    PLINTH_PTHREAD_API int pthread_mutexCS_lock(pthread_mutexCS_t* lock);

    // Takes the lock if it is free. 0, EBUSY, EINVAL.
    PLINTH_PTHREAD_API int pthread_mutexCS_trylock(pthread_mutexCS_t* lock);

    // Releases the lock; the thread that took it releases it. 0 or EINVAL.
    PLINTH_PTHREAD_API int pthread_mutexCS_unlock(pthread_mutexCS_t* lock);

    // Sleeps at least the interval, rounded up to whole milliseconds, the module's grain: an
    // interval of 5,000 ns sleeps 1 ms; 0 yields the processor. A cancellation point. 0, or EINVAL
    // for null, negative seconds, or nanoseconds outside 0 to 999,999,999.
    PLINTH_PTHREAD_API int pthread_delay_np(const struct timespec* interval);

    // For detached threads, which can't be joined: announces that the calling thread will now
    // return from its start routine. Call it before other threads can learn that it ends. Without
    // memory for it, the thread isn't waited for.
    PLINTH_PTHREAD_API void pthread_ending_np(void);

    // Waits until all threads of the process that have announced their end have left their start
    // routines and the destructors of their thread-local objects: that code may then be unloaded.
    // Not to be called by one of them.
    PLINTH_PTHREAD_API void pthread_await_ending_np(void);

#ifdef __cplusplus
}
#endif

#endif
