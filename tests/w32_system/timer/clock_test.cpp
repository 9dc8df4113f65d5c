#include <cmath>

#include "support/test.h"

#include <plinth_w32_system.h>

namespace
{

TEST(TimeCounter, StepsForwardInMilliseconds)
{
    EXPECT_GT(QV_GetTimeCounterPrecision(), 0.0);
    LARGE_INTEGER frequency;
    ASSERT_TRUE(QueryPerformanceFrequency(&frequency));
    EXPECT_DOUBLE_EQ(QV_GetTimeCounterPrecision(),
                     1000.0 / static_cast<double>(frequency.QuadPart));
    // Compares the time between two readings with the system's counter, read outside of both and
    // between them.
    const auto counter = [&]
    {
        LARGE_INTEGER now;
        QueryPerformanceCounter(&now);
        return static_cast<double>(now.QuadPart) * 1000.0 / static_cast<double>(frequency.QuadPart);
    };
    const double outer = counter(), start = QV_GetTimeCounter(), inner = counter();
    while (counter() < inner + 5.0)
    {
    }
    const double least = counter() - inner, passed = QV_GetTimeCounter() - start;
    const double most = counter() - outer;
    constexpr double rounding = 1e-3; // ms
    EXPECT_GE(passed, least - rounding);
    EXPECT_LE(passed, most + rounding);
}

TEST(Sleep, EveryModeWaitsItsTimeAndNotLess)
{
    for (int mode = QV_PRECISION_SLEEP; mode <= QV_PRECISION_POSTED; ++mode)
        for (const double wanted : {-60'000.0, 0.0, 3.0, 21.7})
        {
            const double start = QV_GetTimeCounter();
            EXPECT_EQ(QV_Sleep(wanted, mode), QV_OK);
            // The modes that only sleep wait whole milliseconds.
            const bool spins = mode != 1 && mode != 4 && mode != 9;
            EXPECT_GE(QV_GetTimeCounter() - start, spins ? wanted : std::floor(wanted + 0.5) - 0.1)
                << "mode " << mode;
        }
    for (const int mode : {0, 10})
        EXPECT_EQ(QV_Sleep(1.0, mode), QV_ERR_NULLPTR);
}

TEST(CycleCounter, IsAbsentAndSaysSo)
{
    EXPECT_EQ(rdtsc_initialize(), 0);
    EXPECT_EQ(rdtsc_available(), 0);
}

} // namespace
