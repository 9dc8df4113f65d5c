// Assigns requests to workers, and starts and ends workers.
#include "async_dispatcher.h"

#include <cerrno>
#include <new>
#include <utility>

#include "at_fork.h"
#include "frame.h"
#include "mutex_guard.h"

namespace
{

constexpr timespec stop_pause = {0, 1'000'000};
// ms that a thread has for its last instructions, which wait for nothing in the library.
constexpr DWORD last_steps_limit = 3000;

// While this object lives, the count shows that a thread needs workers' locks.
class Waiting
{
public:
    explicit Waiting(std::atomic<uint32_t>& count) : m_count(count) { ++m_count; }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
    ~Waiting() { --m_count; }

private:
    std::atomic<uint32_t>& m_count;
};

} // namespace

QvAsyncDispatcher::QvAsyncDispatcher(pthread_mutexCS_t& lock, uint32_t maxWorkers)
    : m_lock(lock), m_uMaxWorkers(maxWorkers), m_workers(), m_left()
{
}

QvAsyncDispatcher::~QvAsyncDispatcher()
{
    // A worker that Stop has left running may be using the registry at this moment.
    if (m_bAbandoned)
        return;
    m_workers.~set();
    m_left.~list();
}

void QvAsyncDispatcher::RenewInChild()
{
    QvLeaveToParent(new (std::nothrow) std::set<QvAsyncWorker*>(std::move(m_workers)));
    QvLeaveToParent(new (std::nothrow) std::list<QvAsyncThread>(std::move(m_left)));
    ::new (static_cast<void*>(this)) QvAsyncDispatcher(m_lock, m_uMaxWorkers);
}

int QvAsyncDispatcher::Submit(std::unique_ptr<QvAsyncRequest> request)
{
    QvAsyncQueue entry; // the node is made before any lock is taken
    entry.push_back(std::move(request));

    const Waiting waiting(m_uWaiting);
    const QvMutexGuard guard(m_lock);
    if (!guard.Held() || m_bStopping)
        return QV_ERR_SYSTEM;
    QvAsyncWorker* const worker = LeastLoaded();
    if (!worker)
        return StartWorker(entry);
    const QvMutexGuard workerGuard(worker->lock);
    worker->queue.splice(worker->queue.end(), entry);
    return QV_OK;
}

// The worker for one more request: an idle one, or at the limit the one with the shortest queue
// (the earliest if several are equal). Null: a new worker is needed. Called under m_lock, so no
// queue grows meanwhile.
QvAsyncWorker* QvAsyncDispatcher::LeastLoaded() const
{
    QvAsyncWorker* least = nullptr;
    size_t load = 0;
    for (QvAsyncWorker* const worker : m_workers)
    {
        if (worker->state != qv_worker_running)
            continue;
        const QvMutexGuard guard(worker->lock);
        if (least && worker->queue.size() >= load)
            continue;
        least = worker;
        load = worker->queue.size();
        if (load == 0)
            return least;
    }
    const bool full = m_uMaxWorkers != 0 && m_workers.size() >= m_uMaxWorkers;
    return full ? least : nullptr;
}

// Called under m_lock, which also keeps the new worker from reading the registry. If this fails or
// throws, it is undone; the request is freed with the caller's entry.
int QvAsyncDispatcher::StartWorker(QvAsyncQueue& request)
{
    auto worker = std::make_unique<QvAsyncWorker>(*this);
    if (!worker->lock)
        return QV_ERR_SYSTEM;
    const auto place = m_workers.insert(worker.get()).first;
    worker->queue.splice(worker->queue.end(), request);
    QvAsyncThread& thread = worker->thread.front();
    thread.worker = worker.get();
    thread.handle = QvStartThread(WorkerProcedure, &thread, thread.id, thread.stage);
    if (!thread.handle)
    {
        m_workers.erase(place);
        return QV_ERR_SYSTEM;
    }
    static_cast<void>(worker.release()); // the thread owns it from here on
    return QV_OK;
}

void QvAsyncDispatcher::Cancel(QvFile file)
{
    const Waiting waiting(m_uWaiting);
    const QvMutexGuard guard(m_lock);
    if (!guard.Held())
        return;
    for (QvAsyncWorker* const worker : m_workers)
    {
        const QvMutexGuard workerGuard(worker->lock);
        worker->queue.remove_if(
            [file](const std::unique_ptr<QvAsyncRequest>& request)
            { return request->kind != QV_ASYNC_COPY && request->file == file; });
    }
}

unsigned __stdcall QvAsyncDispatcher::WorkerProcedure(void* thread)
{
    auto& own = *static_cast<QvAsyncThread*>(thread);
    if (QvBeginThread(own.stage) && !own.worker->dispatcher.Run(*own.worker))
        return 0;
    QvLeaveThread(own.stage);
    return 0;
}

bool QvAsyncDispatcher::Run(QvAsyncWorker& worker)
{
    QvEnterAsyncWorkers();
    const uint32_t forks = QvForkCount();
    QvAsyncPass pass;
    do
    {
        pass = worker.RunStep();
        if (QvForkCount() != forks)
            return false; // in the child of a callback: the parent owns worker and requests
        if (pass == QvAsyncPass::idle)
            pthread_delay_np(&QV_ASYNC_IDLE_DELAY);
    } while ((pass == QvAsyncPass::more && !Wants()) || Keeps(worker));
    Leave(&worker);
    return true;
}

// A busy worker calls this too when a cancellation or a submission waits for its lock. Here the
// worker waits for the module lock, which the waiting thread holds, so that thread gets the
// worker's lock. Without this, the worker would take its lock again before the other thread woke
// up. If no thread waits, the worker does not call this: otherwise all running transfers would
// compete for this lock at each block.
bool QvAsyncDispatcher::Keeps(QvAsyncWorker& worker)
{
    const QvMutexGuard guard(m_lock);
    if (!guard.Held())
        return false;
    const QvMutexGuard workerGuard(worker.lock);
    if (m_bStopping)
        worker.state = qv_worker_stopped;
    else if (!worker.queue.empty())
        worker.idleChecks = 0;
    else if (++worker.idleChecks > QV_ASYNC_IDLE_LIMIT)
        worker.state = qv_worker_idle;
    return worker.state == qv_worker_running;
}

void QvAsyncDispatcher::Leave(QvAsyncWorker* worker)
{
    {
        const QvMutexGuard guard(m_lock);
        if (!guard.Held())
            return; // Stop gave up; the registry, with this worker in it, may be destroyed
        m_workers.erase(worker);
        // Requests are left only if the library is being unloaded. They are freed, and their files
        // closed, while the unload still waits.
        worker->queue.clear();
        CloseEnded();
        m_left.splice(m_left.end(), worker->thread);
    }
    delete worker;
}

// Under m_lock.
void QvAsyncDispatcher::CloseEnded()
{
    std::erase_if(m_left,
                  [](const QvAsyncThread& thread)
                  {
                      if (WaitForSingleObject(thread.handle, 0) != WAIT_OBJECT_0)
                          return false;
                      CloseHandle(thread.handle);
                      return true;
                  });
}

// Called under m_lock. A thread that hasn't begun when the library is unloaded can no longer begin.
void QvAsyncDispatcher::RefuseStarting()
{
    std::erase_if(m_workers,
                  [this](QvAsyncWorker* worker)
                  {
                      if (!QvRefuseThread(worker->thread.front().stage))
                          return false;
                      m_left.splice(m_left.end(), worker->thread);
                      delete worker;
                      return true;
                  });
}

// True if no worker is left except, perhaps, the one whose callback ends the process. Doesn't wait,
// because a thread that waits for a callback may hold the lock.
bool QvAsyncDispatcher::AllGone()
{
    const int result = pthread_mutexCS_trylock(&m_lock);
    if (result == EBUSY)
        return false;
    if (result != 0)
    {
        m_bAbandoned = false; // the lock was never created, so there is no worker
        return true;
    }
    if (QvIsDetaching())
        RefuseStarting();
    const size_t own = QvIsAsyncWorkerThread() ? 1 : 0;
    const size_t left = m_workers.size();
    pthread_mutexCS_unlock(&m_lock);
    m_bAbandoned = left != 0;
    return left <= own;
}

bool QvAsyncDispatcher::Stop(double milliseconds)
{
    m_bStopping = true;
    m_bAbandoned = true;
    const double start = QV_GetTimeCounter();
    while (!AllGone())
    {
        if (milliseconds >= 0 && QV_GetTimeCounter() - start >= milliseconds)
            return false;
        pthread_delay_np(&stop_pause);
    }
    // No thread is left that could change the list.
    for (QvAsyncThread& thread : m_left)
        QvEndThread(thread.handle, thread.stage, last_steps_limit, 0);
    m_left.clear();
    return true;
}
