// The library's static objects, built in the order of their priorities.
#include <memory>

#include "debugging/debugwnd/debug_framework.h"
#include "debugging/debugwnd/debug_window.h"
#include "debugging/diagassert/assertion/symbol_engine.h"
#include "debugging/diagassert/trace/trace_lock.h"
#include "file/async_dispatcher.h"
#include "file/async_io.h"
#include "static_objects.h"
#include "timer/timer_table.h"

namespace
{

// The registry of the asynchronous workers.
struct WorkerRegistry : QvAsyncDispatcher
{
    WorkerRegistry() : QvAsyncDispatcher(gs_moduleLock, QV_ASYNC_MAX_WORKERS) {}
};
struct WorkerRegistryTag;

struct SymbolEngineTag;

// Owns the library's framework and the window class of the debug windows, which is removed after
// the last of them. Frameworks that applications create register the class too, so it is removed
// even without a framework here.
struct DebugFrameworkOwner
{
    std::unique_ptr<CDebugFramework> framework;

    DebugFrameworkOwner() = default;
    DebugFrameworkOwner(const DebugFrameworkOwner&) = delete;
    DebugFrameworkOwner& operator=(const DebugFrameworkOwner&) = delete;
    ~DebugFrameworkOwner()
    {
        framework.reset();
        QvForgetDebugWindowClass();
    }
};
struct DebugFrameworkTag;
struct TimerMapTag;

struct TraceLockBuilder
{
    TraceLockBuilder() { InitializeCriticalSection(&s_traceLock); }
    ~TraceLockBuilder() { DeleteCriticalSection(&s_traceLock); }
};
struct TraceLockBuilderTag;

[[gnu::init_priority(
    QV_PRIORITY_WORKER_REGISTRY)]] QvStaticObject<WorkerRegistry, WorkerRegistryTag>
    s_workerRegistry;
[[gnu::init_priority(QV_PRIORITY_SYMBOL_ENGINE)]] QvStaticObject<CSymbolEngine, SymbolEngineTag>
    s_symbolEngine;
[[gnu::init_priority(
    QV_PRIORITY_DEBUG_FRAMEWORK)]] QvStaticObject<DebugFrameworkOwner, DebugFrameworkTag>
    s_debugFramework;
[[gnu::init_priority(QV_PRIORITY_TRACE_LOCK)]] QvStaticObject<TraceLockBuilder, TraceLockBuilderTag>
    s_lockBuilder;
[[gnu::init_priority(QV_PRIORITY_TIMER_MAP)]] QvStaticObject<QvTimerMap, TimerMapTag>
    gs_TimerHandleMap;

} // namespace

std::unique_ptr<CDebugFramework>& QvDebugFramework()
{
    return s_debugFramework.Get().framework;
}

CRITICAL_SECTION s_traceLock;

CSymbolEngine& QvSymbolEngine()
{
    return s_symbolEngine.Get();
}

QvAsyncDispatcher& QvTheAsyncDispatcher()
{
    return QvStaticObject<WorkerRegistry, WorkerRegistryTag>::Get();
}
