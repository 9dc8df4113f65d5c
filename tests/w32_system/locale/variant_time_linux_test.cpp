// Local time to variant time over the changes of the clock, against the zone database: zdump prints
// each change with the distance from UTC before and after it.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <gtest/gtest.h>

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

struct tm broken_down(int64_t seconds)
{
    const time_t native = seconds;
    struct tm result = {};
    gmtime_r(&native, &result);
    return result;
}

// Each line is "ZONE  Sun Mar 31 00:59:59 2024 UT = ... isdst=0 gmtoff=3600": the last second
// before a change, then the first after it.
std::vector<Change> changes_of(const std::string& zone)
{
    std::vector<Change> changes;
    FILE* const lines = popen(("zdump -v -c 1990,2037 " + zone).c_str(), "r");
    int64_t last_moment = 0;
    long last_offset = 0;
    for (char line[256]; lines && std::fgets(line, sizeof line, lines);)
    {
        const char* const text = line + zone.size();
        const char* const offset_text = std::strstr(line, "gmtoff=");
        struct tm utc = {};
        if (!offset_text || !strptime(text, " %a %b %d %H:%M:%S %Y", &utc))
            continue; // the ends of time
        const int64_t moment = timegm(&utc);
        const long offset = std::strtol(offset_text + 7, nullptr, 10);
        if (moment == last_moment + 1)
            changes.push_back({moment, last_offset, offset});
        last_moment = moment;
        last_offset = offset;
    }
    if (lines)
        pclose(lines);
    return changes;
}

void use_zone(const std::string& zone)
{
    if (zone.find('/') != std::string::npos)
        test::needs_zone(zone);
    setenv("TZ", zone.c_str(), 1);
    tzset();
}

// The moment of a local reading, in seconds of 1970.
int64_t converted(int64_t reading)
{
    const struct tm local = broken_down(reading);
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
        use_zone(zone);
        const std::vector<Change> changes = changes_of(zone);
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
