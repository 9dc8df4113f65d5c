// Sleeping at the module's grain.
#include <cerrno>
#include <chrono>

#include <gtest/gtest.h>

#include <plinth_w32_pthreadVC.h>

using namespace std::chrono_literals;

TEST(Delay, RefusesWhatIsNoInterval)
{
    EXPECT_EQ(pthread_delay_np(nullptr), EINVAL);
    for (const timespec interval : {timespec{-1, 0}, timespec{0, -1}, timespec{0, 1'000'000'000}})
        EXPECT_EQ(pthread_delay_np(&interval), EINVAL);
}

TEST(Delay, IsRoundedUpToWholeMilliseconds)
{
    // The last fills the second.
    for (const long nanoseconds : {0L, 5'000L, 1'000'000L, 1'000'001L, 20'000'000L, 999'999'999L})
    {
        const timespec interval{0, nanoseconds};
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(pthread_delay_np(&interval), 0);
        const auto least = (nanoseconds + 999'999) / 1'000'000 * 1ms;
        EXPECT_GE(std::chrono::steady_clock::now() - start, least) << nanoseconds << " ns";
    }
}
