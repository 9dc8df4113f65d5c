// Connects the file operations with the workers.
#include "async_io.h"

#include <atomic>
#include <memory>
#include <new>
#include <utility>

#include "argument_check.h"
#include "async_dispatcher.h"
#include "at_fork.h"
#include "frame.h"

namespace
{

constexpr const char* source_name = "src\\w32_system\\file\\async";

// A worker holds its own lock during a callback, and a thread that waits for that lock holds the
// module lock. A callback that continued here would wait for itself.
int RefuseInCallback(const wchar_t* message, int line)
{
    return QvRefuse(QV_ERR_SYSTEM, L"QvIsAsyncWorkerThread()", message, source_name, line);
}

// Stops the workers at exit. Registered at the first transfer, so that the workers stop before
// older static objects of the application are destroyed; and with a time limit, so that a callback
// that never returns doesn't block the exit. When the library is unloaded instead, the detach comes
// first and waits longer.
struct StopAtExit
{
    ~StopAtExit()
    {
        if (!QvIsTornDown())
            QvStopAsyncWorkers(qv_async_stop_limit);
    }
};

// The workers, their registry and its lock (which is held during the wait for a callback) belong to
// the parent. The callback that forked may start transfers in the child.
void RenewInChild()
{
    QvLeaveToParent(gs_moduleLock);
    pthread_mutexCS_init(&gs_moduleLock, nullptr);
    QvTheAsyncDispatcher().RenewInChild();
    QvLeaveAsyncWorkers();
}

const QvAtFork s_atFork(QvForkStep::asynchronous_transfers, {nullptr, nullptr, RenewInChild});

int Submit(std::unique_ptr<QvAsyncRequest> request)
{
    // Only one thread constructs the object, so that no other waits for that: a child of fork would
    // wait for a thread that it doesn't have.
    static constinit std::atomic<bool> s_isMade{false};
    if (!s_isMade.exchange(true))
        static const StopAtExit s_stopAtExit;
    return QvTheAsyncDispatcher().Submit(std::move(request));
}

} // namespace

void QvStopAsyncWorkers(double milliseconds)
{
    static constinit bool s_stopped = false;
    if (std::exchange(s_stopped, true))
        return;
    QvTheAsyncDispatcher().Stop(milliseconds);
}

int QvTransferAsync(QvAsyncKind kind, QvFile file, void* buffer, uint64_t size,
                    const QvAsyncIo& async)
try
{
    if (QvIsAsyncWorkerThread())
        return RefuseInCallback(L"QvTransferAsync: A callback must not start a transfer.",
                                __LINE__);
    return Submit(std::make_unique<QvAsyncRequest>(kind, buffer, file, size, async));
}
catch (const std::bad_alloc&)
{
    return QV_ERR_SYSTEM;
}

int QvCopyAsync(const wchar_t* source, const wchar_t* target, bool failIfExists,
                const volatile uint32_t* proceed, QvCopyCompletion completion, void* context)
try
{
    if (QvIsAsyncWorkerThread())
        return RefuseInCallback(L"QvCopyAsync: A callback must not start a copy.", __LINE__);
    auto copy = std::make_unique<QvAsyncRequest>(proceed, completion, context);
    constexpr unsigned share = QV_SHARE_READ | QV_SHARE_WRITE;
    int status = QV_OpenFile(source, QV_OPEN_READ, share, QV_SECURITY_DEFAULT, &copy->file);
    if (status != QV_OK)
        return status;
    status =
        QV_OpenFile(target, QV_OPEN_WRITE | QV_OPEN_CREATE | (failIfExists ? 0u : QV_OPEN_ALWAYS),
                    share, QV_SECURITY_DEFAULT, &copy->target);
    if (status != QV_OK)
        return status;
    return Submit(std::move(copy));
}
catch (const std::bad_alloc&)
{
    return QV_ERR_SYSTEM;
}

extern "C" int QV_CancelAsyncIO(QvFile file)
{
    if (QvIsAsyncWorkerThread())
        return RefuseInCallback(L"QV_CancelAsyncIO: A callback must not cancel.", __LINE__);
    QvTheAsyncDispatcher().Cancel(file);
    return QV_OK;
}
