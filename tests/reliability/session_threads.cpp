// Timers of all kinds, clocks, and the thread pool.
#include <atomic>
#include <memory>

#include "session.h"

namespace sweep
{

namespace
{

struct Calls
{
    std::atomic<int> count{0};
    static int callback(void* self)
    {
        ++static_cast<Calls*>(self)->count;
        return 1;
    }
};

bool lives(uintptr_t id)
{
    return QV_GetTimerRecord(static_cast<unsigned int>(id)) != nullptr;
}

void carried_timer(Session& session, int precision)
{
    Calls calls;
    const uintptr_t id = QV_SetThreadedTimer(Calls::callback, &calls, 2.0, 3, precision, 1);
    if (!session.worked("QV_SetThreadedTimer", id != 0))
        return;
    session.ok("QV_WaitForTimer", QV_WaitForTimer(static_cast<unsigned int>(id)), {});
    // A multimedia timer without an event is not waited for.
    session.comes("the end of a timer", [id] { return !lives(id); });
    session.holds("a timer made " + std::to_string(calls.count) + " calls", calls.count == 3);
}

void posted_timer(Session& session)
{
    Calls calls;
    const uintptr_t id = QV_SetPostedTimer(Calls::callback, &calls, 10.0, 2);
    if (!session.worked("QV_SetPostedTimer", id != 0))
        return;
    session.comes("the end of a posted timer",
                  [id]
                  {
                      MSG message;
                      while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
                          DispatchMessageW(&message);
                      return !lives(id);
                  });
    session.holds("a posted timer made other calls", calls.count == 2);
}

void killed_timer(Session& session)
{
    Calls calls;
    const uintptr_t id =
        QV_SetThreadedTimer(Calls::callback, &calls, 5.0, 0, QV_PRECISION_SLEEP, 1);
    if (!session.worked("QV_SetThreadedTimer", id != 0))
        return;
    QvTimerInfo info = {};
    session.ok("QV_GetTimerInfo",
               QV_GetTimerInfo(QV_GetTimerRecord(static_cast<unsigned int>(id)), &info), {});
    session.ok("QV_KillTimerAsync", QV_KillTimerAsync(static_cast<unsigned int>(id)), {});
    session.ok("QV_WaitForTimer", QV_WaitForTimer(static_cast<unsigned int>(id)), {});
}

} // namespace

void timer_part(Session& session)
{
    const double before = QV_GetTimeCounter();
    session.ok("QV_Sleep", QV_Sleep(1.0, QV_PRECISION_SLEEP), {});
    session.worked("QV_GetTimeCounter", QV_GetTimeCounter() >= before);
    session.worked("QV_GetTimeCounterPrecision", QV_GetTimeCounterPrecision() > 0.0);
    carried_timer(session, QV_PRECISION_SLEEP);
    carried_timer(session, QV_PRECISION_MM_1);
    posted_timer(session);
    killed_timer(session);
}

void pool_part(Session& session)
{
    static std::atomic<int> ran;
    ran = 0;
    CThreadPool* const pool = CThreadPool::CreateThreadPool();
    if (!session.worked("CreateThreadPool", pool != nullptr))
        return;
    int taken = 0;
    for (int i = 0; i < 4; ++i)
        taken += session.ok("MakeCallFromThreadPool",
                            pool->MakeCallFromThreadPool(
                                [](void*) -> void*
                                {
                                    ++ran;
                                    return nullptr;
                                },
                                nullptr),
                            {QV_ERR_SYSTEM});
    CThreadPool::DestroyThreadPool(pool);
    session.holds("of " + std::to_string(taken) + " calls " + std::to_string(ran) + " ran",
                  ran == taken);
}

} // namespace sweep
