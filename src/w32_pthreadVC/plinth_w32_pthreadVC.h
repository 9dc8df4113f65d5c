// plinth_w32_pthreadVC: POSIX threads for the library and for the modules above it.
//
// On Linux the ordinary names (pthread_create, pthread_mutex_lock, pthread_cond_wait, sem_wait,
// pthread_atfork, ...) are the system's own, on Windows those of the compiler's POSIX layer, where
// pthread_atfork does nothing: there are no forks. This header brings them in and adds what the
// module offers beyond them: pthread_delay_np, a plain mutual exclusion lock, and a way to unload
// code that detached threads have run.
#ifndef PLINTH_W32_PTHREADVC_H
#define PLINTH_W32_PTHREADVC_H

#include <pthread.h>
#include <semaphore.h>
#include <time.h>

// Marks what the module exports.
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
    // after pthread_mutexCS_destroy. It isn't recursive, knows no owner and belongs to one process.
    // A forked child has a copy as it was at the fork: whoever shares one with other threads and
    // forks takes it before (pthread_atfork) and releases it on both sides.
    typedef struct pthread_mutexCS_t_* pthread_mutexCS_t;

    // Attributes: none exist, pass null.
    typedef struct pthread_mutexCSattr_t_* pthread_mutexCSattr_t;

    // The initial value of a lock of static storage that needs no pthread_mutexCS_init: it is made
    // when it is first taken, which is the one time that taking it may give ENOMEM.
#define PTHREAD_MUTEXCS_INITIALIZER ((pthread_mutexCS_t)-1)

    // Creates a lock into *lock. 0, EINVAL for a null pointer, ENOMEM.
    PLINTH_PTHREAD_API int pthread_mutexCS_init(pthread_mutexCS_t* lock,
                                                const pthread_mutexCSattr_t* attributes);

    // Ends the lock and sets *lock to null; no thread may hold or wait for it. 0 or EINVAL.
    PLINTH_PTHREAD_API int pthread_mutexCS_destroy(pthread_mutexCS_t* lock);

    // Takes the lock, waiting as long as it takes. 0, or EINVAL for a lock that was never made and
    // has no initial value either.
    PLINTH_PTHREAD_API int pthread_mutexCS_lock(pthread_mutexCS_t* lock);

    // Takes the lock if it is free. 0, EBUSY, EINVAL.
    PLINTH_PTHREAD_API int pthread_mutexCS_trylock(pthread_mutexCS_t* lock);

    // Releases the lock; the thread that took it releases it. 0 or EINVAL.
    PLINTH_PTHREAD_API int pthread_mutexCS_unlock(pthread_mutexCS_t* lock);

    // Sleeps at least the interval, rounded up to whole milliseconds, the module's grain: an
    // interval of 5,000 ns sleeps 1 ms; of 0 gives up the processor. A cancellation point.
    // 0, or EINVAL for null, negative seconds, or nanoseconds outside 0 to 999,999,999.
    PLINTH_PTHREAD_API int pthread_delay_np(const struct timespec* interval);

    // For detached threads, which nobody can join: says that the calling thread returns from its
    // start routine next. To be called before others can know that it ends. Without memory for it
    // the thread isn't waited for.
    PLINTH_PTHREAD_API void pthread_ending_np(void);

    // Waits until all threads of the process that have said so have left their start routines, and
    // the destructors of their thread-local objects: the code of these may then be unloaded. Not to
    // be called by one of them.
    PLINTH_PTHREAD_API void pthread_await_ending_np(void);

#ifdef __cplusplus
}
#endif

#endif
