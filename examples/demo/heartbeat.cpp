#include "heartbeat.h"

#include <plinth_w32_system.h>

namespace demo
{

namespace
{

constexpr double period = 10; // ms

int beat(void*)
{
    DiagOutputExW_hlp(__FILE__, __LINE__);
    DiagOutputExW(L"|wndid:0| heartbeat on thread |thrid|, |absdt| ms since the last record");
    return 1;
}

} // namespace

Heartbeat::Heartbeat()
    : m_timer(QV_SetThreadedTimer(beat, nullptr, period, 0, QV_PRECISION_MM_10, 1))
{
}

// A timer ends at its next tick.
Heartbeat::~Heartbeat()
{
    const auto id = static_cast<unsigned>(m_timer);
    if (id != 0 && QV_KillTimerAsync(id) == QV_OK)
        QV_WaitForTimer(id);
}

} // namespace demo
