// A worker of the asynchronous transfers.
#pragma once

#include <list>

#include <plinth_w32_pthreadVC.h>

#include "async_request.h"
#include "own_thread.h"

class QvAsyncDispatcher;

// An idle worker looks for work after each such pause, which the threads module rounds up to its
// grain of 1 ms, and ends when it has found none more than this often in a row: after 20 pauses.
inline constexpr timespec QV_ASYNC_IDLE_DELAY = {0, 5000};
inline constexpr uint32_t QV_ASYNC_IDLE_LIMIT = 20;

enum QvAsyncWorkerState : uint32_t
{
    QV_ASYNC_RUNNING = 0,
    QV_ASYNC_STOPPED = 1, // the library goes
    QV_ASYNC_IDLE = 2,    // nothing to do for long enough
};

// What a worker's pass came to.
enum class QvAsyncPass
{
    idle, // there was nothing to do
    last, // a step, after which there is nothing to do
    more, // a step, and there is more
};

struct QvAsyncWorker;

// Outlives the worker until its end has been seen.
struct QvAsyncThread
{
    HANDLE handle = nullptr;
    uint32_t id = 0;
    QvThreadStage stage{0};
    QvAsyncWorker* worker = nullptr; // may have gone if the thread must not begin
};

// Belongs to its thread, which takes it out of the dispatcher's registry and frees it at its end.
struct QvAsyncWorker
{
    explicit QvAsyncWorker(QvAsyncDispatcher& by);
    QvAsyncWorker(const QvAsyncWorker&) = delete;
    QvAsyncWorker& operator=(const QvAsyncWorker&) = delete;
    ~QvAsyncWorker();

    QvAsyncPass RunStep(); // one step of the front request

    // One element. It goes to the dispatcher when the worker leaves, so that making room can't
    // fail.
    std::list<QvAsyncThread> thread{1};
    // Guards idleChecks, state and queue, and is held during a whole step with its callback. Comes
    // after the module lock. state changes under both locks: either is enough to read it.
    pthread_mutexCS_t lock = nullptr; // null if it could not be made
    uint32_t idleChecks = 0;          // checks in a row that found nothing
    uint32_t state = QV_ASYNC_RUNNING;
    QvAsyncQueue queue;
    QvAsyncDispatcher& dispatcher;
};

// Whether this thread is a worker, that is whether a callback runs on it.
bool QvIsAsyncWorkerThread();
void QvEnterAsyncWorkers(); // a worker's thread begins
// The thread goes on in a forked child as an ordinary one.
void QvLeaveAsyncWorkers();
