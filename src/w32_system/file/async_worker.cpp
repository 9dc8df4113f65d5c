// What a worker is, and its steps. Its thread is the dispatcher's.
#include "async_worker.h"

#include "async_steps.h"
#include "mutex_guard.h"

namespace
{

thread_local bool t_bWorker = false;

} // namespace

bool QvIsAsyncWorkerThread()
{
    return t_bWorker;
}

void QvEnterAsyncWorkers()
{
    t_bWorker = true;
}

void QvLeaveAsyncWorkers()
{
    t_bWorker = false;
}

QvAsyncWorker::QvAsyncWorker(QvAsyncDispatcher& by) : dispatcher(by)
{
    if (pthread_mutexCS_init(&lock, nullptr) != 0)
        lock = nullptr;
}

QvAsyncWorker::~QvAsyncWorker()
{
    if (lock)
        pthread_mutexCS_destroy(&lock);
}

QvAsyncPass QvAsyncWorker::RunStep()
{
    const QvMutexGuard guard(lock);
    if (queue.empty())
        return QvAsyncPass::idle;
    idleChecks = 0;
    if (QvAsyncStep(*queue.front()))
        queue.splice(queue.end(), queue, queue.begin());
    else
        queue.pop_front();
    return queue.empty() ? QvAsyncPass::last : QvAsyncPass::more;
}
