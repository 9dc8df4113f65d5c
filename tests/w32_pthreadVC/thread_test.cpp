// Sleeping for whole milliseconds, and waiting for the last instructions of detached threads.

#include "support/test.h"

#include <plinth_w32_pthreadVC.h>

namespace
{

std::atomic<bool> g_says{false};
std::atomic<int> g_left{0};

// Its destructor takes some time at the end of the thread. It waits for no other thread: some
// threads hold a lock then that others need to continue.
struct Belonging
{
    Belonging() = default;
    Belonging(const Belonging&) = delete;
    Belonging& operator=(const Belonging&) = delete;
    ~Belonging()
    {
        constexpr timespec a_while = {0, 20'000'000};
        pthread_delay_np(&a_while);
        ++g_left;
    }
    void use() {}
};
thread_local Belonging t_belonging;

void start_ending_thread()
{
    const auto ends = [](void*) -> void*
    {
        t_belonging.use();
        pthread_ending_np();
        g_says = true;
        g_says.notify_all();
        return nullptr;
    };
    g_says = false;
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, nullptr, ends, nullptr), 0);
    ASSERT_EQ(pthread_detach(thread), 0);
    g_says.wait(false);
}

} // namespace

TEST(Delay, IsRoundedUpToWholeMilliseconds)
{
    using namespace std::chrono_literals;
    // The last, rounded up, is a whole second.
    for (const long nanoseconds : {0L, 5'000L, 1'000'000L, 1'000'001L, 20'000'000L, 999'999'999L})
    {
        const timespec interval{0, nanoseconds};
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(pthread_delay_np(&interval), 0);
        const auto least = (nanoseconds + 999'999) / 1'000'000 * 1ms;
        EXPECT_GE(std::chrono::steady_clock::now() - start, least) << nanoseconds << " ns";
    }
    EXPECT_EQ(pthread_delay_np(nullptr), EINVAL);
    for (const timespec interval : {timespec{-1, 0}, timespec{0, -1}, timespec{0, 1'000'000'000}})
        EXPECT_EQ(pthread_delay_np(&interval), EINVAL);
}

TEST(EndingThreadsConcurrent, AreWaitedForUntilTheirLastObjectHasGone)
{
    pthread_await_ending_np(); // returns: there are none
    for (int round = 1; round <= 3; ++round)
    {
        start_ending_thread();
        pthread_await_ending_np();
        EXPECT_EQ(g_left, round);
    }
}
