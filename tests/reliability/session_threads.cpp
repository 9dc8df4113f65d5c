// Timers of all kinds, clocks, and the thread pool.
#include <atomic>

#include "session.h"

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

void carried_timer(Session& session, int precision)
{
    Calls calls;
    const auto id =
        static_cast<unsigned>(QV_SetThreadedTimer(Calls::callback, &calls, 2.0, 3, precision, 1));
    if (!session.worked("QV_SetThreadedTimer", id != 0))
        return;
    CALL(QV_WaitForTimer(id));
    // A multimedia timer without an event is not waited for.
    session.comes("the end of a timer", [id] { return !QV_GetTimerRecord(id); });
    session.holds("a timer made " + std::to_string(calls.count) + " calls", calls.count == 3);
}

void posted_timer(Session& session)
{
    Calls calls;
    const auto id = static_cast<unsigned>(QV_SetPostedTimer(Calls::callback, &calls, 10.0, 2));
    if (!session.worked("QV_SetPostedTimer", id != 0))
        return;
    session.comes("the end of a posted timer",
                  [id]
                  {
                      MSG message;
                      while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
                          DispatchMessageW(&message);
                      return !QV_GetTimerRecord(id);
                  });
    session.holds("a posted timer made other calls", calls.count == 2);
}

void killed_timer(Session& session)
{
    Calls calls;
    const auto id = static_cast<unsigned>(
        QV_SetThreadedTimer(Calls::callback, &calls, 5.0, 0, QV_PRECISION_SLEEP, 1));
    if (!session.worked("QV_SetThreadedTimer", id != 0))
        return;
    QvTimerInfo info = {};
    CALL(QV_GetTimerInfo(QV_GetTimerRecord(id), &info));
    CALL(QV_KillTimerAsync(id));
    CALL(QV_WaitForTimer(id));
}

} // namespace

void timer_part(Session& session)
{
    const double before = QV_GetTimeCounter();
    CALL(QV_Sleep(1.0, QV_PRECISION_SLEEP));
    session.worked("QV_GetTimeCounter", QV_GetTimeCounter() >= before);
    carried_timer(session, QV_PRECISION_SLEEP);
    carried_timer(session, QV_PRECISION_MM_1);
    posted_timer(session);
    killed_timer(session);
}

void pool_part(Session& session)
{
    CThreadPool* const pool = CThreadPool::CreateThreadPool();
    if (!session.worked("CreateThreadPool", pool != nullptr))
        return;
    Calls calls;
    const auto call = [](void* self) -> void*
    {
        Calls::callback(self);
        return nullptr;
    };
    int taken = 0;
    for (int i = 0; i < 4; ++i)
        taken += CALL(pool->MakeCallFromThreadPool(call, &calls), QV_ERR_SYSTEM);
    CThreadPool::DestroyThreadPool(pool);
    session.holds("of " + std::to_string(taken) + " calls " + std::to_string(calls.count) + " ran",
                  calls.count == taken);
}
