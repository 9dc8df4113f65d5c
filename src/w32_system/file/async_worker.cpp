// What a worker does from its start to its end.
#include "async_worker.h"

#include "async_dispatcher.h"
#include "async_steps.h"
#include "at_fork.h"
#include "mutex_guard.h"

namespace
{

thread_local bool t_bWorker = false;

} // namespace

bool QvIsAsyncWorkerThread()
{
    return t_bWorker;
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

unsigned __stdcall QvAsyncWorker::Procedure(void* thread)
{
    auto& own = *static_cast<QvAsyncThread*>(thread);
    if (QvBeginThread(own.stage) && !own.worker->Run())
        return 0;
    QvLeaveThread(own.stage);
    return 0;
}

bool QvAsyncWorker::Run()
{
    t_bWorker = true;
    const uint32_t forks = QvForkCount();
    QvAsyncPass pass;
    do
    {
        pass = RunStep();
        if (QvForkCount() != forks)
            return false; // in the child of a callback: the parent owns worker and requests
        if (pass == QvAsyncPass::idle)
            pthread_delay_np(&QV_ASYNC_IDLE_DELAY);
    } while ((pass == QvAsyncPass::more && !dispatcher.Wants()) || dispatcher.Keeps(*this));
    dispatcher.Leave(this);
    return true;
}
