// A worker of the asynchronous transfers.
#pragma once

#include <list>

#include <plinth_w32_pthreadVC.h>

#include "async_request.h"
#include "own_thread.h"

class QvAsyncDispatcher;

// An idle worker looks for work after each such pause, which the threads module rounds up to its
// grain of 1 ms. It ends after more than this many looks in a row without work: after 20 pauses.
inline constexpr timespec QV_ASYNC_IDLE_DELAY = {0, 5000};
inline constexpr uint32_t QV_ASYNC_IDLE_LIMIT = 20;

enum QvAsyncWorkerState : uint32_t
{
    qv_worker_running = 0,
    qv_worker_stopped = 1, // the library is being unloaded
    qv_worker_idle = 2,    // had nothing to do for long enough
};

// The result of a worker's pass.
enum class QvAsyncPass
{
    idle, // there was nothing to do
    last, // one step, and no work is left
    more, // one step, and more work is left
};

struct QvAsyncWorker;

// Exists until the worker's end has been seen.
struct QvAsyncThread
{
    HANDLE handle = nullptr;
    uint32_t id = 0;
    QvThreadStage stage{0};
    QvAsyncWorker* worker = nullptr; // may be freed if the thread must not begin
};

// Belongs to its thread, which takes it out of the dispatcher's registry and frees it at its end.
struct QvAsyncWorker
{
    explicit QvAsyncWorker(QvAsyncDispatcher& by);
    QvAsyncWorker(const QvAsyncWorker&) = delete;
    QvAsyncWorker& operator=(const QvAsyncWorker&) = delete;
    ~QvAsyncWorker();

    QvAsyncPass RunStep(); // one step of the front request

    // One element. It moves to the dispatcher when the worker leaves, so no allocation can fail
    // there.
    std::list<QvAsyncThread> thread{1};
    // Guards idleChecks, state and queue, and is held during a whole step with its callback. Taken
    // after the module lock. state changes under both locks, so either is enough to read it.
    pthread_mutexCS_t lock = nullptr; // null if it could not be created
    uint32_t idleChecks = 0;          // checks in a row that found nothing
    uint32_t state = qv_worker_running;
    QvAsyncQueue queue;
    QvAsyncDispatcher& dispatcher;
};

// Whether this thread is a worker, which means that a callback is running on it.
bool QvIsAsyncWorkerThread();
void QvEnterAsyncWorkers(); // a worker's thread begins
// In a forked child the calling thread is a worker no longer.
void QvLeaveAsyncWorkers();
