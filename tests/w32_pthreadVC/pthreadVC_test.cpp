#include <cerrno>
#include <chrono>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <plinth_w32_pthreadVC.h>

namespace
{

TEST(MutexCS, ExcludesOneAnotherConcurrently)
{
    pthread_mutexCS_t lock = nullptr;
    ASSERT_EQ(pthread_mutexCS_init(&lock, nullptr), 0);
    int count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(
            [&]
            {
                for (int k = 0; k < 5000; ++k)
                {
                    pthread_mutexCS_lock(&lock);
                    ++count;
                    pthread_mutexCS_unlock(&lock);
                }
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(count, 20'000);
    EXPECT_EQ(pthread_mutexCS_trylock(&lock), 0);
    std::thread([&] { EXPECT_EQ(pthread_mutexCS_trylock(&lock), EBUSY); }).join();
    EXPECT_EQ(pthread_mutexCS_unlock(&lock), 0);
    EXPECT_EQ(pthread_mutexCS_destroy(&lock), 0);
}

TEST(MutexCS, RefusesWhatWasNeverMadeOrIsGone)
{
    pthread_mutexCS_t lock = nullptr;
    EXPECT_EQ(pthread_mutexCS_init(nullptr, nullptr), EINVAL);
    EXPECT_EQ(pthread_mutexCS_lock(nullptr), EINVAL);
    EXPECT_EQ(pthread_mutexCS_lock(&lock), EINVAL);
    ASSERT_EQ(pthread_mutexCS_init(&lock, nullptr), 0);
    pthread_mutexCS_t stale = lock;
    EXPECT_EQ(pthread_mutexCS_destroy(&lock), 0);
    EXPECT_EQ(lock, nullptr);
    EXPECT_EQ(pthread_mutexCS_lock(&lock), EINVAL);
    EXPECT_EQ(pthread_mutexCS_lock(&stale), EINVAL);
    EXPECT_EQ(pthread_mutexCS_destroy(&lock), EINVAL);
}

TEST(Delay, SleepsWholeMillisecondsAtLeast)
{
    const auto slept = [](time_t seconds, long nanoseconds)
    {
        const timespec interval{seconds, nanoseconds};
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(pthread_delay_np(&interval), 0);
        return std::chrono::steady_clock::now() - start;
    };
    EXPECT_GE(slept(0, 5'000), std::chrono::milliseconds(1));
    EXPECT_GE(slept(0, 1'000'001), std::chrono::milliseconds(2));
    EXPECT_GE(slept(0, 0), std::chrono::milliseconds(0));
    const timespec bad[] = {{-1, 0}, {0, -1}, {0, 1'000'000'000}};
    for (const timespec& each : bad)
        EXPECT_EQ(pthread_delay_np(&each), EINVAL);
    EXPECT_EQ(pthread_delay_np(nullptr), EINVAL);
}

} // namespace
