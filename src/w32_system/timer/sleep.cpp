// Sleeping, with a choice between accuracy and processor load.
#include <windows.h>

#include "argument_check.h"

namespace
{

constexpr const char* source_name = "src\\w32_system\\timer\\timer";
constexpr double late_spin = 20.0; // ms before the end from which QV_PRECISION_LATE_SPIN spins

// A time outside the range of the system's sleep is replaced by the nearest valid one; the greatest
// number itself would mean to sleep for ever.
void SystemSleep(double milliseconds)
{
    constexpr double longest = INFINITE - 1;
    if (milliseconds >= longest)
        Sleep(INFINITE - 1);
    else
        Sleep(milliseconds > 0.0 ? static_cast<DWORD>(milliseconds) : 0);
}

void SpinUntil(double deadline)
{
    while (QV_GetTimeCounter() < deadline)
    {
    }
}

} // namespace

extern "C" int QV_Sleep(double milliseconds, int precision)
{
    const double deadline = QV_GetTimeCounter() + milliseconds;
    switch (precision)
    {
    case QV_PRECISION_SLEEP:
    case QV_PRECISION_MM_20:
    case QV_PRECISION_POSTED:
        SystemSleep(milliseconds + 0.5);
        return QV_OK;
    case QV_PRECISION_SLEEP_SPIN:
    case QV_PRECISION_MM_10:
    {
        const double tens = milliseconds / 10.0;
        constexpr DWORD most_tens = INFINITE / 10 - 1;
        const DWORD whole =
            tens > 0.0 ? static_cast<DWORD>(tens < most_tens ? tens : most_tens) : 0;
        Sleep(whole * 10);
        SpinUntil(deadline);
        return QV_OK;
    }
    case QV_PRECISION_SPIN:
    case QV_PRECISION_MM_1:
    case QV_PRECISION_MM_1_ALIGNED:
        SpinUntil(deadline);
        return QV_OK;
    case QV_PRECISION_LATE_SPIN:
        if (milliseconds > late_spin)
            SystemSleep(milliseconds - late_spin);
        SpinUntil(deadline);
        return QV_OK;
    default:
        return QvRefuse(QV_ERR_NULLPTR, L"true", L"Wrong QV_Sleep parameter.", source_name,
                        __LINE__);
    }
}
