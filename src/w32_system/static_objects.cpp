// The static initialisers, in their order.
//
// The symbol engine and the timer map hold nothing as yet: their subsystems will. They stand here
// for the order.
#include <map>
#include <memory>

#include "debugging/trace_location.h"
#include "debugging/trace_lock.h"
#include "file/async_dispatcher.h"
#include "file/async_io.h"
#include "static_objects.h"

struct QvTimerRecord;

namespace
{

// With the registry of the asynchronous workers.
struct WorkerRegistry : QvAsyncDispatcher
{
    WorkerRegistry() : QvAsyncDispatcher(gs_moduleLock, QV_ASYNC_MAX_WORKERS) {}
};
struct WorkerRegistryTag;

struct SymbolEngineTag;
struct DebugFrameworkTag;
struct TimerMapTag;

struct SymbolEngine
{
    HANDLE process = nullptr; // null until the first stack report
};

struct TraceLock
{
    TraceLock()
    {
        InitializeCriticalSection(&s_traceLock);
        QvInitializeLocationLock();
    }
    ~TraceLock()
    {
        QvDeleteLocationLock();
        DeleteCriticalSection(&s_traceLock);
    }
};
struct TraceLockTag;

[[gnu::init_priority(
    QV_PRIORITY_WORKER_REGISTRY)]] QvStaticObject<WorkerRegistry, WorkerRegistryTag>
    s_workerRegistry;
[[gnu::init_priority(QV_PRIORITY_SYMBOL_ENGINE)]] QvStaticObject<SymbolEngine, SymbolEngineTag>
    s_symbolEngine;
[[gnu::init_priority(QV_PRIORITY_DEBUG_FRAMEWORK)]] QvStaticObject<std::unique_ptr<CDebugFramework>,
                                                                   DebugFrameworkTag>
    s_debugFramework;
[[gnu::init_priority(QV_PRIORITY_TRACE_LOCK)]] QvStaticObject<TraceLock, TraceLockTag>
    s_lockBuilder;
[[gnu::init_priority(
    QV_PRIORITY_TIMER_MAP)]] QvStaticObject<std::map<uintptr_t, QvTimerRecord*>, TimerMapTag>
    gs_TimerHandleMap;

} // namespace

CRITICAL_SECTION s_traceLock;

QvAsyncDispatcher& QvTheAsyncDispatcher()
{
    return QvStaticObject<WorkerRegistry, WorkerRegistryTag>::Get();
}
