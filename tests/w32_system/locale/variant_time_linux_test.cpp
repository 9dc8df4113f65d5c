// Local time to variant time over the changes of the clock, as the C library knows them from the
// zone database.
#include <cmath>
#include <ctime>

#include "support/test.h"

#include <plinth_w32_system.h>

#include "support/needs.h"

namespace
{

constexpr int64_t day = 86'400;

struct Change
{
    int64_t moment; // seconds of 1970, UTC: the first with the new distance
    int64_t before; // seconds ahead of UTC
    int64_t after;
};

std::vector<Change> changes_here()
{
    const auto offset_at = [](int64_t moment)
    {
        const time_t native = moment;
        struct tm local = {};
        localtime_r(&native, &local);
        return local.tm_gmtoff;
    };
    std::vector<Change> changes;
    constexpr int64_t of_1990 = 631'152'000, of_2037 = 2'114'380'800;
    for (int64_t low = of_1990; low < of_2037; low += day)
    {
        int64_t before = low, after = low + day;
        if (offset_at(before) == offset_at(after))
            continue;
        while (after - before > 1)
        {
            const int64_t middle = (before + after) / 2;
            (offset_at(middle) == offset_at(low) ? before : after) = middle;
        }
        changes.push_back({after, offset_at(before), offset_at(after)});
    }
    return changes;
}

// The moment of a local reading, in seconds of 1970.
int64_t converted(int64_t reading)
{
    const time_t native = reading;
    struct tm local = {};
    gmtime_r(&native, &local);
    double variant = 0;
    EXPECT_EQ(QV_TmToVariantTime(&local, &variant), QV_OK);
    return std::llround((variant - 25'569) * day);
}

// A reading that comes twice is the earlier moment, and one that is skipped is counted on from
// before the change: both are the moment by the old distance.
void check_change(const std::string& zone, const Change& change)
{
    for (const int64_t way : {300, -300}) // no answer depends on the one before
        for (int64_t step = -72; step <= 73; ++step)
        {
            const int64_t moment = change.moment + step / 2 * way - (step & 1);
            const bool old = moment < change.moment;
            const int64_t reading = moment + (old ? change.before : change.after);
            const bool came_before = !old && reading < change.moment + change.before;
            ASSERT_EQ(converted(reading), came_before ? reading - change.before : moment)
                << zone << ", " << moment - change.moment << " s from the change at "
                << change.moment;
        }
    for (int64_t reading = change.moment + change.before; reading < change.moment + change.after;
         reading += 599)
        ASSERT_EQ(converted(reading), reading - change.before)
            << zone << ", skipped by the change at " << change.moment;
}

TEST(TmToVariantTimeInZone, FollowsTheZoneDatabaseOverEveryChange)
{
    size_t forward = 0;
    size_t back = 0;
    for (const std::string zone :
         {"Europe/Berlin", "Europe/London", "America/New_York", "America/Sao_Paulo",
          "Australia/Lord_Howe", "Pacific/Apia", "Africa/Casablanca", "Asia/Tehran",
          "America/Caracas", "Asia/Pyongyang"})
    {
        test::needs_zone(zone);
        setenv("TZ", zone.c_str(), 1);
        tzset();
        const std::vector<Change> changes = changes_here();
        EXPECT_GE(changes.size(), 2u) << zone;
        for (const Change& change : changes)
        {
            ++(change.after > change.before ? forward : back);
            check_change(zone, change);
            if (HasFatalFailure())
                return;
        }
    }
    EXPECT_GT(forward, 200u);
    EXPECT_GT(back, 200u);
}

} // namespace
