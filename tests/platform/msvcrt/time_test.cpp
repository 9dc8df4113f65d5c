// Calendar time of the runtime library.
#include "support/test.h"

#include <sys/timeb.h>
#include <tchar.h>

#include "support/wide_text.h"

namespace
{

constexpr __time64_t last_time = 32535215999;  // 31 December 3000, 23:59:59 UTC
constexpr __time64_t summer_noon = 1720008000; // 3 July 2024, 12:00 UTC

class Time : public ::testing::Test
{
protected:
    // Two hours east of UTC in summer, one in winter, by a rule that needs no zone files.
    static void SetUpTestSuite()
    {
        setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
        tzset();
    }
    void TearDown() override { PlinthTestReset(); }
};

TEST_F(Time, BeginsWith1970AndEndsWithTheYear3000)
{
    for (const __time64_t bad : {__time64_t{-1}, last_time + 1})
        EXPECT_EQ(_localtime64(&bad), nullptr) << bad;
    for (const __time64_t good : {__time64_t{0}, summer_noon, last_time})
    {
        const struct tm* const local = _localtime64(&good);
        ASSERT_NE(local, nullptr) << good;
        struct tm copy = *local;
        EXPECT_EQ(_mktime64(&copy), good);
        copy = *local;
        copy.tm_sec += good ? 1 : -1;
        EXPECT_EQ(_mktime64(&copy), good == summer_noon ? good + 1 : -1) << good;
    }
}

TEST_F(Time, TheResultIsTheThreadsAndChangesByItsNextCallAlone)
{
    struct tm* const local = _localtime64(&summer_noon);
    std::thread(
        []
        {
            const __time64_t other = summer_noon + 3600;
            EXPECT_EQ(_localtime64(&other)->tm_hour, 15);
        })
        .join();
    EXPECT_EQ((std::vector{local->tm_year, local->tm_mon, local->tm_mday, local->tm_hour,
                           local->tm_wday, local->tm_isdst}),
              (std::vector{124, 6, 3, 14, 3, 1}));
}

TEST_F(Time, AllReadTheShiftedClock)
{
    const __time64_t now = _time64(nullptr);
    // Until the summer noon, less the part of this second that has passed.
    struct __timeb64 stamp;
    _ftime64(&stamp);
    PlinthTestShiftWallClock((summer_noon - stamp.time) * 1000 - stamp.millitm);
    __time64_t shifted = 0;
    EXPECT_EQ(_time64(&shifted), shifted);
    // The test may be delayed, but by less than a minute.
    EXPECT_GE(shifted, summer_noon);
    EXPECT_LT(shifted, summer_noon + 60);
    _ftime64(&stamp);
    EXPECT_GE(stamp.time, summer_noon);
    EXPECT_LT(stamp.millitm, 1000);
    EXPECT_EQ(stamp.timezone, -60) << "minutes behind UTC, of standard time";
    EXPECT_EQ(stamp.dstflag, 1);
    wchar_t text[9];
    EXPECT_EQ(test::utf8(_wstrtime(text), 6), "14:00:");
    EXPECT_EQ(wcslen(text), 8u);
    PlinthTestReset();
    EXPECT_GE(_time64(nullptr), now);
}

} // namespace
