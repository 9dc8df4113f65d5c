// The interface of the timers: setting, killing, asking.
#include <windows.h>

#include "argument_check.h"
#include "timer_routes.h"

namespace
{

constexpr double nanoseconds_per_millisecond = 1e6;
constexpr double shortest_carried = 1.0; // ms; shorter intervals need a thread that spins

// An invalid time counts as zero, and one that the field can't hold as the longest possible.
int64_t IntervalNs(double milliseconds)
{
    if (!(milliseconds > 0.0))
        return 0;
    const double nanoseconds = milliseconds * nanoseconds_per_millisecond;
    return nanoseconds < 0x1p63 ? static_cast<int64_t>(nanoseconds) : INT64_MAX;
}

// The resolution to ask the multimedia timer for, in ms; 0 for the other modes.
UINT ResolutionOf(int precision)
{
    switch (precision)
    {
    case QV_PRECISION_MM_20:
        return 20;
    case QV_PRECISION_MM_10:
        return 10;
    case QV_PRECISION_MM_1:
    case QV_PRECISION_MM_1_ALIGNED:
        return 1;
    default:
        return 0;
    }
}

bool IsTimerPrecision(int precision)
{
    return (precision >= QV_PRECISION_SLEEP && precision <= QV_PRECISION_MM_1_ALIGNED) ||
           precision == QV_PRECISION_POSTED;
}

uintptr_t Refuse(const wchar_t* expression, const wchar_t* message, int line)
{
    DiagAssertW(0, expression, message, timer_source_name, line);
    return 0;
}

// The timer's thread writes its name into the record when it begins. It can't begin while a module
// is being loaded or unloaded, perhaps by the caller, so the wait has a limit.
void AwaitThreadName(const QvTimerEnd& end)
{
    constexpr double limit = 1000.0; // ms
    constexpr DWORD interval = 1;    // ms between two checks
    const double deadline = QV_GetTimeCounter() + limit;
    while (!end.bThreadNamed && QV_GetTimeCounter() < deadline)
        if (QvAwaitThreadEnd(end.hThread, interval))
            return;
}

} // namespace

extern "C" uintptr_t QV_SetThreadedTimer(QvTimerCallback callback, void* data, double milliseconds,
                                         int numCalls, int precision, int iCatchUpMode)
{
    if (!callback)
        return Refuse(L"callback==NULL", L"QV_SetThreadedTimer: No callback.", __LINE__);
    if (numCalls < 0)
        return Refuse(L"numCalls<0", L"Number of calls can not be negative", __LINE__);
    if (!(milliseconds >= shortest_carried) && precision != QV_PRECISION_POSTED)
        precision = QV_PRECISION_SPIN;
    if (!IsTimerPrecision(precision))
        return Refuse(L"true", L"Wrong timer precision.", __LINE__);

    auto timer = std::make_unique<QvTimer>();
    timer->pData = data;
    timer->i64IntervalNs = IntervalNs(milliseconds);
    timer->iCallsLeft = numCalls;
    timer->iPrecision = precision;
    timer->pfnCallback = callback;
    timer->iCatchUpMode = iCatchUpMode;
    timer->dStartTime = timer->dLastTime = QV_GetTimeCounter();

    uintptr_t id = 0;
    if (const UINT resolution = ResolutionOf(precision))
        id = QvSetMultimediaTimer(timer, resolution);
    else if (precision == QV_PRECISION_POSTED)
        id = QvSetMessageTimer(timer);
    return id != 0 ? id : QvStartTimerThread(timer);
}

extern "C" uintptr_t QV_SetPostedTimer(QvTimerCallback callback, void* data, double milliseconds,
                                       int numCalls)
{
    return QV_SetThreadedTimer(callback, data, milliseconds, numCalls, QV_PRECISION_POSTED, 1);
}

extern "C" int QV_KillTimerAsync(unsigned int id)
{
    const QvTimerGuard guard;
    QvTimer* const timer = QvFindTimer(id);
    if (!timer)
        return QV_ERR_NULLPTR;
    QvStopTimer(*timer);
    return QV_OK;
}

extern "C" const QvTimerRecord* QV_GetTimerRecord(unsigned int id)
{
    if (id == 0)
        return QvCurrentTimer();
    QvTimer* timer;
    std::shared_ptr<QvTimerEnd> end;
    {
        const QvTimerGuard guard;
        timer = QvFindTimer(id);
        if (!timer || timer->iKind != QV_TIMER_THREAD)
            return timer;
        end = timer->pEnd;
    }
    AwaitThreadName(*end);
    return timer;
}

extern "C" int QV_GetTimerInfo(const QvTimerRecord* timer, QvTimerInfo* info)
{
    if (!timer || !info)
        return QV_ERR_NULLPTR;
    info->iCatchUpMode = timer->iCatchUpMode;
    info->iPrecision = timer->iPrecision;
    info->dStartTime = timer->dStartTime;
    const bool known = timer->iKind >= QV_TIMER_THREAD && timer->iKind <= QV_TIMER_POSTED;
    info->iKind = known ? timer->iKind + 1 : 0;
    return known ? QV_OK : QV_ERR_NULLPTR;
}
