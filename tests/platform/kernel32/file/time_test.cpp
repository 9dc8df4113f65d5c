// File times, calendar times and local time; the performance counter.
#include <tuple>

#include "support/test.h"

namespace
{

uint64_t ticks(const FILETIME& time)
{
    return (static_cast<uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

FILETIME file_time(uint64_t ticks)
{
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

SYSTEMTIME calendar(int year, int month, int day, int hour = 0, int minute = 0)
{
    const auto word = [](int number) { return static_cast<WORD>(number); };
    return {word(year), word(month), 0, word(day), word(hour), word(minute), 0, 0};
}

constexpr uint64_t ticks_per_day = uint64_t{86'400} * 10'000'000;

TEST(FileTime, NamesEveryDayFromTheFirstToTheLast)
{
    uint64_t day = 0; // since 1 January 1601, a Monday
    SYSTEMTIME time;
    FILETIME given = {};
    for (int year = 1601; year <= 30'827; year += year < 2500 || year >= 30'820 ? 1 : 400)
        // All cycles of 400 years are alike.
        for (int month = 1; month <= 12; ++month)
            for (const int in_month : {1, 28})
            {
                const SYSTEMTIME date = calendar(year, month, in_month, 23, 59);
                ASSERT_TRUE(SystemTimeToFileTime(&date, &given)) << year;
                ASSERT_TRUE(FileTimeToSystemTime(&given, &time));
                ASSERT_EQ(std::tuple(time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute),
                          std::tuple(year, month, in_month, 23, 59));
                const uint64_t now = ticks(given) / ticks_per_day;
                EXPECT_EQ(time.wDayOfWeek, (now + 1) % 7);
                EXPECT_GE(now, day);
                day = now;
            }
    for (const SYSTEMTIME& bad :
         {calendar(1600, 12, 31), calendar(30'828, 1, 1), calendar(2000, 13, 1),
          calendar(1900, 2, 29), calendar(2000, 1, 1, 24), calendar(2000, 1, 1, 0, 60)})
        EXPECT_FALSE(SystemTimeToFileTime(&bad, &given)) << bad.wYear << bad.wMonth << bad.wDay;
    const FILETIME beyond = file_time(uint64_t{1} << 63);
    EXPECT_FALSE(FileTimeToSystemTime(&beyond, &time));
    EXPECT_FALSE(FileTimeToLocalFileTime(&beyond, &given));
    EXPECT_FALSE(LocalFileTimeToFileTime(&beyond, &given));
}

TEST(FileTime, GoesToLocalTimeAndBackOverTheChangesOfAYear)
{
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    FILETIME start;
    const SYSTEMTIME first = calendar(2023, 1, 1);
    ASSERT_TRUE(SystemTimeToFileTime(&first, &start));
    int doubled = 0;
    FILETIME local, back, again;
    for (uint64_t at = ticks(start); at < ticks(start) + 400 * ticks_per_day;
         at += ticks_per_day / 48)
    {
        const FILETIME utc = file_time(at + 1'234'567);
        ASSERT_TRUE(FileTimeToLocalFileTime(&utc, &local));
        ASSERT_TRUE(LocalFileTimeToFileTime(&local, &back));
        ASSERT_TRUE(FileTimeToLocalFileTime(&back, &again));
        // In the doubled hour of autumn one of two moments is chosen; it shows the same local time.
        ASSERT_EQ(ticks(again), ticks(local));
        doubled += ticks(back) != ticks(utc);
    }
    EXPECT_EQ(doubled, 2) << "half hours of one hour";
    const FILETIME zero = {0, 0};
    EXPECT_FALSE(LocalFileTimeToFileTime(&zero, &back)) << "an hour before the first";
}

TEST(SystemTime, IsTheSameAsAFileTimeAndInCalendarParts)
{
    constexpr uint64_t second = 10'000'000; // in units of 100 ns; the clock may be adjusted
    FILETIME now, again;
    SYSTEMTIME parts;
    GetSystemTimeAsFileTime(&now);
    GetSystemTime(&parts);
    ASSERT_TRUE(SystemTimeToFileTime(&parts, &again));
    EXPECT_GE(ticks(again) + second, ticks(now));
    EXPECT_LE(ticks(again), ticks(now) + 100 * second) << "a guard for a busy machine";
}

TEST(PerformanceCounter, RunsInUnitsOfItsFrequencyAlsoOverASleep)
{
    LARGE_INTEGER frequency, start, end;
    ASSERT_TRUE(QueryPerformanceFrequency(&frequency));
    EXPECT_EQ(frequency.QuadPart, 1'000'000'000);
    EXPECT_TRUE(QueryPerformanceCounter(&start));
    Sleep(20);
    EXPECT_TRUE(QueryPerformanceCounter(&end));
    EXPECT_GE(end.QuadPart - start.QuadPart, 20'000'000);
}

} // namespace
