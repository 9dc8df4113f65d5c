// Calendar time and the automation layer's date.
#include <cmath>

#include "support/test.h"

#include <oleauto.h>

namespace
{

SYSTEMTIME make_time(int year, int month, int day, int hour = 0)
{
    const auto word = [](int number) { return static_cast<WORD>(number); };
    return {word(year), word(month), 0, word(day), word(hour), 0, 0, 0};
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
    EXPECT_EQ(variant(make_time(100, 1, 1)), -657434.0);
    // Days outside the month count on from it.
    EXPECT_EQ(variant(make_time(2001, 2, 29)), variant(make_time(2001, 3, 1)));
    EXPECT_EQ(variant(make_time(2001, 2, 31)), variant(make_time(2001, 3, 3)));
    EXPECT_EQ(variant(make_time(2001, 2, 0)), variant(make_time(2001, 1, 31)));
    // Before the origin the time of day still counts forward.
    EXPECT_EQ(variant(make_time(1899, 12, 29, 6)), -1.25);
    SYSTEMTIME back = {};
    ASSERT_TRUE(VariantTimeToSystemTime(-1.25, &back));
    EXPECT_EQ((std::vector<WORD>{back.wDay, back.wHour, back.wDayOfWeek}),
              (std::vector<WORD>{29, 6, 5}));
    ASSERT_TRUE(VariantTimeToSystemTime(45000.999999, &back)); // rounded to the next day
    EXPECT_EQ(variant(back), 45001.0);
}

TEST(VariantTime, RefusesWhatIsNoSuchTime)
{
    for (const SYSTEMTIME& bad :
         {make_time(99, 12, 31), make_time(10000, 1, 1), make_time(2023, 2, 32),
          make_time(100, 1, 0), make_time(2024, 13, 1), make_time(2024, 0, 1),
          make_time(2024, 1, 1, 24)})
        EXPECT_TRUE(std::isnan(variant(bad))) << bad.wYear << '-' << bad.wMonth << '-' << bad.wDay;
    SYSTEMTIME result = {};
    for (const double bad : {std::nan(""), 1e300, 2958465.999999, -657435.0})
        EXPECT_FALSE(VariantTimeToSystemTime(bad, &result)) << bad;
}

} // namespace
