// Distributes asynchronous transfers among worker threads, and ends the workers.
//
// The library has one dispatcher, the first of its static objects, whose lock is the module lock.
// Each dispatcher has its own lock, limit and registry, so a test can create one with a limit.
#pragma once

#include <atomic>
#include <memory>
#include <set>

#include "async_worker.h"

// The number of workers from which a busy one is used rather than a new one; 0 is no limit.
inline constexpr uint32_t QV_ASYNC_MAX_WORKERS = 0;

class QvAsyncDispatcher
{
public:
    // lock guards the registry and outlives the use of the dispatcher; it is taken before a
    // worker's lock.
    QvAsyncDispatcher(pthread_mutexCS_t& lock, uint32_t maxWorkers);
    ~QvAsyncDispatcher(); // after Stop
    QvAsyncDispatcher(const QvAsyncDispatcher&) = delete;
    QvAsyncDispatcher& operator=(const QvAsyncDispatcher&) = delete;

    // Queues the request. QV_ERR_SYSTEM: no worker could be started, or Stop has been called; then
    // the request has been freed without a callback. std::bad_alloc passes, with the same effect.
    int Submit(std::unique_ptr<QvAsyncRequest> request);

    // Removes the reads and writes on the file from all queues; waits for steps that are running.
    void Cancel(QvFile file);

    // Ends each worker after its current step, and waits for the threads. Remaining requests are
    // freed without a callback. Returns false after so many milliseconds (negative: never); a
    // worker that is still in a callback then ends when the callback returns, without touching the
    // registry. Nothing can be submitted afterwards.
    bool Stop(double milliseconds);

    // In a forked child: drops all workers.
    void RenewInChild();

private:
    static unsigned __stdcall WorkerProcedure(void* thread); // what a worker's thread runs
    // A worker from its start to its end; false in a child that a callback forked.
    bool Run(QvAsyncWorker& worker);
    // Whether Keeps must be called also between two steps.
    bool Wants() const { return m_uWaiting != 0 || m_bStopping; }
    // Whether the worker continues; called after each pass that leaves it without work, and when
    // Wants is true.
    bool Keeps(QvAsyncWorker& worker);
    void Leave(QvAsyncWorker* worker); // the worker's last act

    QvAsyncWorker* LeastLoaded() const;
    int StartWorker(QvAsyncQueue& request);
    bool AllGone();
    void RefuseStarting();
    void CloseEnded();

    pthread_mutexCS_t& m_lock;
    const uint32_t m_uMaxWorkers;
    std::atomic<bool> m_bStopping{false};
    std::atomic<uint32_t> m_uWaiting{0}; // threads that hold or await m_lock to get workers' locks
    bool m_bAbandoned = false;           // a worker was still running when Stop gave up
    // Guarded by m_lock, as is all below. Ascending by address. Not destroyed, nor is m_left, if a
    // worker is still running.
    union // so that the destructor may skip it
    {
        std::set<QvAsyncWorker*> m_workers;
    };
    // Threads of workers that have left, until a later Leave, or Stop, has seen them end: from then
    // on a thread is known to have left the library's code.
    union
    {
        std::list<QvAsyncThread> m_left;
    };
};
