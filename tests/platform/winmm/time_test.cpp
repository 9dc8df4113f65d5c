// The multimedia clock.
#include <gtest/gtest.h>

#include <windows.h>

#include <mmsystem.h>
#include <plinth_platform_test.h>

TEST(MultimediaTime, TheTickStandsWhereATestHoldsItAndRunsOtherwise)
{
    PlinthTestSetTick(0xFFFFFFF0u);
    EXPECT_EQ(timeGetTime(), 0xFFFFFFF0u);
    PlinthTestReset();
    const DWORD start = timeGetTime();
    while (timeGetTime() == start)
        Sleep(1);
    EXPECT_LT(timeGetTime() - start, 0x80000000u) << "and forwards";
}

TEST(MultimediaTime, PeriodsAreBegunWithinTheDevicesRangeAndEndedAsOften)
{
    TIMECAPS caps = {};
    ASSERT_EQ(timeGetDevCaps(&caps, sizeof caps), TIMERR_NOERROR);
    EXPECT_EQ(caps.wPeriodMin, 1u);
    EXPECT_EQ(caps.wPeriodMax, 1'000'000u);
    EXPECT_EQ(timeBeginPeriod(0), TIMERR_NOCANDO);
    EXPECT_EQ(timeBeginPeriod(caps.wPeriodMax + 1), TIMERR_NOCANDO);
    EXPECT_EQ(timeBeginPeriod(1), TIMERR_NOERROR);
    EXPECT_EQ(timeBeginPeriod(1), TIMERR_NOERROR);
    EXPECT_EQ(timeEndPeriod(1), TIMERR_NOERROR);
    EXPECT_EQ(timeEndPeriod(1), TIMERR_NOERROR);
    EXPECT_EQ(timeEndPeriod(1), TIMERR_NOCANDO) << "never begun";
    EXPECT_EQ(timeGetDevCaps(nullptr, sizeof caps), TIMERR_NOCANDO);
    EXPECT_EQ(timeGetDevCaps(&caps, 4), TIMERR_NOCANDO);
    PlinthTestFail("timeGetDevCaps", 1, 1, 1);
    EXPECT_EQ(timeGetDevCaps(&caps, sizeof caps), TIMERR_NOCANDO);
    PlinthTestReset();
}
