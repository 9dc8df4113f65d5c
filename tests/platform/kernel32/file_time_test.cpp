// File times, calendar times and local time.
#include <cstdlib>

#include <gtest/gtest.h>

#include <windows.h>

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
    SYSTEMTIME time = {};
    time.wYear = static_cast<WORD>(year);
    time.wMonth = static_cast<WORD>(month);
    time.wDay = static_cast<WORD>(day);
    time.wHour = static_cast<WORD>(hour);
    time.wMinute = static_cast<WORD>(minute);
    return time;
}

constexpr uint64_t ticks_per_day = uint64_t{86'400} * 10'000'000;

TEST(FileTime, NamesEveryDayFromTheFirstToTheLast)
{
    uint64_t day = 0; // since 1 January 1601, a Monday
    SYSTEMTIME time;
    for (int year = 1601; year <= 30'827; year += year < 2500 || year >= 30'820 ? 1 : 400)
    {
        // Whole cycles of 400 years are all alike.
        for (int month = 1; month <= 12; ++month)
            for (const int in_month : {1, 28})
            {
                FILETIME given = {};
                const SYSTEMTIME date = calendar(year, month, in_month, 23, 59);
                ASSERT_TRUE(SystemTimeToFileTime(&date, &given)) << year;
                ASSERT_TRUE(FileTimeToSystemTime(&given, &time));
                ASSERT_TRUE(time.wYear == year && time.wMonth == month && time.wDay == in_month &&
                            time.wHour == 23 && time.wMinute == 59)
                    << year << "-" << month << "-" << in_month;
                const uint64_t now = ticks(given) / ticks_per_day;
                EXPECT_EQ(time.wDayOfWeek, (now + 1) % 7);
                EXPECT_GE(now, day);
                day = now;
            }
    }
    FILETIME ignored;
    for (const SYSTEMTIME& bad :
         {calendar(1600, 12, 31), calendar(30'828, 1, 1), calendar(2000, 0, 1),
          calendar(2000, 13, 1), calendar(2000, 2, 30), calendar(1900, 2, 29), calendar(2000, 1, 0),
          calendar(2000, 1, 1, 24), calendar(2000, 1, 1, 0, 60)})
        EXPECT_FALSE(SystemTimeToFileTime(&bad, &ignored)) << bad.wYear << bad.wMonth << bad.wDay;
    for (const uint64_t bad : {uint64_t{1} << 63, UINT64_MAX})
    {
        const FILETIME given = file_time(bad);
        EXPECT_FALSE(FileTimeToSystemTime(&given, &time));
        EXPECT_FALSE(FileTimeToLocalFileTime(&given, &ignored));
        EXPECT_FALSE(LocalFileTimeToFileTime(&given, &ignored));
    }
}

TEST(FileTime, GoesToLocalTimeAndBackOverTheChangesOfAYear)
{
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    FILETIME start;
    const SYSTEMTIME first = calendar(2023, 1, 1);
    ASSERT_TRUE(SystemTimeToFileTime(&first, &start));
    int doubled = 0;
    for (uint64_t at = ticks(start); at < ticks(start) + 400 * ticks_per_day;
         at += ticks_per_day / 48)
    {
        const FILETIME utc = file_time(at + 1'234'567);
        FILETIME local;
        FILETIME back;
        FILETIME again;
        ASSERT_TRUE(FileTimeToLocalFileTime(&utc, &local));
        ASSERT_TRUE(LocalFileTimeToFileTime(&local, &back));
        ASSERT_TRUE(FileTimeToLocalFileTime(&back, &again));
        // The hour that comes twice in autumn has one of its two places, but shows the same time.
        ASSERT_EQ(ticks(again), ticks(local));
        doubled += ticks(back) != ticks(utc);
    }
    EXPECT_EQ(doubled, 2) << "half hours of one hour";
    // Local times in 1601 that are before the first of all.
    const FILETIME zero = {0, 0};
    FILETIME result;
    EXPECT_FALSE(LocalFileTimeToFileTime(&zero, &result)) << "an hour before the first";
}

} // namespace
