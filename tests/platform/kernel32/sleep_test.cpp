// Sleeping and the performance counter.
#include <gtest/gtest.h>

#include <windows.h>

#include <plinth_platform_test.h>

namespace
{

LONGLONG counter()
{
    LARGE_INTEGER count;
    EXPECT_TRUE(QueryPerformanceCounter(&count));
    return count.QuadPart;
}

} // namespace

TEST(PerformanceCounter, RunsForwardInUnitsOfItsFrequency)
{
    LARGE_INTEGER frequency;
    ASSERT_TRUE(QueryPerformanceFrequency(&frequency));
    EXPECT_EQ(frequency.QuadPart, 1'000'000'000);
    LONGLONG last = counter();
    for (int i = 0; i < 1000; ++i)
    {
        const LONGLONG now = counter();
        EXPECT_GE(now, last);
        last = now;
    }
}

TEST(PerformanceCounter, ASystemWithoutOneSaysZero)
{
    PlinthTestFail("QueryPerformanceFrequency", 1, 1, static_cast<int>(ERROR_NOT_SUPPORTED));
    LARGE_INTEGER frequency;
    frequency.QuadPart = 1;
    EXPECT_FALSE(QueryPerformanceFrequency(&frequency));
    EXPECT_EQ(frequency.QuadPart, 0);
    PlinthTestReset();
}

TEST(Sleep, LastsAtLeastItsTime)
{
    for (const DWORD milliseconds : {0u, 1u, 7u, 20u})
    {
        const LONGLONG start = counter();
        Sleep(milliseconds);
        EXPECT_GE(counter() - start, LONGLONG{milliseconds} * 1'000'000);
    }
}
