// Calendar time and the automation layer's date.
#include <cmath>

#include "support/test.h"

#include <oleauto.h>

namespace
{

SYSTEMTIME make_time(int year, int month, int day, int hour = 0, int minute = 0, int second = 0)
{
    const auto word = [](int number) { return static_cast<WORD>(number); };
    return {word(year), word(month), 0, word(day), word(hour), word(minute), word(second), 0};
}

double variant(SYSTEMTIME time)
{
    double result = std::nan("");
    return SystemTimeToVariantTime(&time, &result) ? result : std::nan("");
}

TEST(VariantTime, KnownMomentsHaveTheirNumbers)
{
    EXPECT_EQ(variant(make_time(1899, 12, 30)), 0.0);
    EXPECT_EQ(variant(make_time(1900, 1, 1, 12)), 2.5);
    EXPECT_EQ(variant(make_time(2000, 2, 29, 18)), 36585.75);
    EXPECT_EQ(variant(make_time(9999, 12, 31)), 2958465.0);
    EXPECT_EQ(variant(make_time(100, 1, 1)), -657434.0);
    // Before the origin the time of day still counts forward.
    EXPECT_EQ(variant(make_time(1899, 12, 29, 6)), -1.25);
    SYSTEMTIME back = {};
    ASSERT_TRUE(VariantTimeToSystemTime(-1.25, &back));
    EXPECT_EQ((std::vector<WORD>{back.wDay, back.wHour, back.wDayOfWeek}),
              (std::vector<WORD>{29, 6, 5}));
}

TEST(VariantTime, EverySecondComesBack)
{
    // A stride that meets all hours, minutes and seconds, over leap years and centuries.
    for (double day : {-657434.0, -36524.0, -1.0, 0.0, 59.0, 36584.0, 45000.0, 2958465.0})
        for (int second = 0; second < 86'400; second += 7)
        {
            const double time = day < 0 ? day - second / 86'400.0 : day + second / 86'400.0;
            SYSTEMTIME calendar = {};
            ASSERT_TRUE(VariantTimeToSystemTime(time, &calendar)) << time;
            ASSERT_EQ((calendar.wHour * 60 + calendar.wMinute) * 60 + calendar.wSecond, second);
            ASSERT_EQ(variant(calendar), time);
        }
    SYSTEMTIME calendar = {}; // almost midnight is the next day
    ASSERT_TRUE(VariantTimeToSystemTime(45000.999999, &calendar));
    EXPECT_EQ(variant(calendar), 45001.0);
    EXPECT_EQ(calendar.wHour, 0);
    EXPECT_FALSE(VariantTimeToSystemTime(2958465.999999, &calendar))
        << "that would be the year 10000";
}

TEST(VariantTime, RefusesWhatIsNoSuchTime)
{
    for (const SYSTEMTIME& bad :
         {make_time(99, 12, 31), make_time(10000, 1, 1), make_time(65535, 1, 1),
          make_time(2023, 2, 29), make_time(1900, 2, 29), make_time(2024, 0, 1),
          make_time(2024, 13, 1), make_time(2024, 1, 0), make_time(2024, 4, 31),
          make_time(2024, 1, 1, 24), make_time(2024, 1, 1, 0, 60), make_time(2024, 1, 1, 0, 0, 60)})
        EXPECT_TRUE(std::isnan(variant(bad)))
            << bad.wYear << '-' << bad.wMonth << '-' << bad.wDay << ' ' << bad.wHour;
    SYSTEMTIME result = {};
    for (const double bad : {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e300, 2958466.0, -657435.0})
        EXPECT_FALSE(VariantTimeToSystemTime(bad, &result)) << bad;
    double number = 0;
    EXPECT_FALSE(SystemTimeToVariantTime(nullptr, &number));
    EXPECT_FALSE(SystemTimeToVariantTime(&result, nullptr));
    EXPECT_FALSE(VariantTimeToSystemTime(0, nullptr));
}

} // namespace
