// Local time to variant time where clocks change, by the rules of the zone database.
#include <cmath>
#include <ctime>

#include "support/test.h"

#include <plinth_w32_system.h>

#include "support/needs.h"

namespace
{

struct tm parsed(const char* text)
{
    struct tm time = {};
    EXPECT_NE(strptime(text, "%Y-%m-%d %H:%M:%S", &time), nullptr) << text;
    return time;
}

// Local times that occur twice or never at a change are converted with the offset from before the
// change: one that occurs twice is the earlier moment, a skipped one is counted on.
TEST(TmToVariantTimeInZone, FollowsTheZoneDatabaseOverItsChanges)
{
    // The zone, its local time, and the moment in UTC.
    static constexpr const char* rows[][3] = {
        {"Europe/Berlin", "2024-03-31 01:59:59", "2024-03-31 00:59:59"},
        {"Europe/Berlin", "2024-03-31 02:30:00", "2024-03-31 01:30:00"}, // skipped
        {"Europe/Berlin", "2024-03-31 03:00:00", "2024-03-31 01:00:00"},
        {"Europe/Berlin", "2024-10-27 01:59:59", "2024-10-26 23:59:59"},
        {"Europe/Berlin", "2024-10-27 02:00:00", "2024-10-27 00:00:00"}, // occurs twice
        {"Europe/Berlin", "2024-10-27 02:59:59", "2024-10-27 00:59:59"}, // also twice
        {"Europe/Berlin", "2024-10-27 03:00:00", "2024-10-27 02:00:00"},
        {"America/New_York", "2024-11-03 01:30:00", "2024-11-03 05:30:00"},
        {"Australia/Lord_Howe", "2024-04-07 01:45:00", "2024-04-06 14:45:00"}, // half an hour
        {"America/Caracas", "2016-05-01 02:45:00", "2016-05-01 07:15:00"},     // the zone changed
        {"Pacific/Apia", "2011-12-30 12:00:00", "2011-12-30 22:00:00"}};       // a day was skipped
    constexpr size_t count = std::size(rows);
    for (size_t i = 0; i < 2 * count; ++i) // both ways: no answer depends on the last
    {
        const auto& [zone, reading, moment] = rows[i < count ? i : 2 * count - 1 - i];
        test::needs_zone(zone);
        setenv("TZ", zone, 1);
        tzset();
        const struct tm local = parsed(reading);
        struct tm utc = parsed(moment);
        double variant = 0;
        EXPECT_EQ(QV_TmToVariantTime(&local, &variant), QV_OK);
        EXPECT_EQ(std::llround((variant - 25'569) * 86'400), timegm(&utc))
            << zone << " " << reading;
    }
}

} // namespace
