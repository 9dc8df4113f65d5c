// The workers of the asynchronous transfers: who gets a request, and how they all end.
//
// The library has one dispatcher, the first of its static objects, whose lock is the module lock.
// Lock, limit and registry are a dispatcher's own, so that a test can have one with a limit.
#pragma once

#include <atomic>
#include <memory>
#include <set>

#include "async_worker.h"

// The number of workers from which a busy one is preferred to a new one; 0 is no limit.
inline constexpr uint32_t QV_ASYNC_MAX_WORKERS = 0;

class QvAsyncDispatcher
{
public:
    // lock guards the registry and outlives the dispatcher's use; it comes before a worker's lock.
    QvAsyncDispatcher(pthread_mutexCS_t& lock, uint32_t maxWorkers);
    ~QvAsyncDispatcher(); // after Stop
    QvAsyncDispatcher(const QvAsyncDispatcher&) = delete;
    QvAsyncDispatcher& operator=(const QvAsyncDispatcher&) = delete;

    // Queues the request. QV_ERR_SYSTEM: no worker could be started, or Stop has been called; the
    // request is gone then, and has not called back. std::bad_alloc passes, with the same effect.
    int Submit(std::unique_ptr<QvAsyncRequest> request);

    // Takes the reads and writes on the file out of all queues; waits for steps under way.
    void Cancel(QvFile file);

    // Ends all workers behind the step that each is in, and waits for their threads; requests that
    // are left are released without a callback. Gives up after so many milliseconds (negative:
    // never): false, and workers that are still held by a callback end when they come back from it,
    // without touching the registry. Nothing can be submitted afterwards.
    bool Stop(double milliseconds);

    // In a forked child: without workers.
    void RenewInChild();

private:
    static unsigned __stdcall WorkerProcedure(void* thread); // what a worker's thread runs
    // A worker from its start to its end; false in a child that a callback forked.
    bool Run(QvAsyncWorker& worker);
    // Whether Keeps must be asked also between two steps.
    bool Wants() const { return m_uWaiting != 0 || m_bStopping; }
    // Whether the worker goes on, asked after each pass that leaves it without work, and when it is
    // wanted.
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
    std::atomic<uint32_t> m_uWaiting{
        0};                    // those who hold m_lock, or are about to, for workers' locks
    bool m_bAbandoned = false; // some worker was still there when Stop gave up
    // Guarded by m_lock, as is all below. Ascending by address. Left as it is, like the
    // threads, if a worker is left behind.
    union // so that it can be left as it is
    {
        std::set<QvAsyncWorker*> m_workers;
    };
    // Threads of workers that have left, until one that leaves later, or Stop, sees their end: so a
    // thread is known to have left the library's code.
    union
    {
        std::list<QvAsyncThread> m_left;
    };
};
