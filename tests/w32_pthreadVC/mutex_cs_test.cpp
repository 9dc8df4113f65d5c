// The plain lock.
#include <cerrno>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <plinth_w32_pthreadVC.h>

TEST(MutexCS, IsNullBeforeItIsMadeAndAfterItsEnd)
{
    pthread_mutexCS_t lock = nullptr;
    ASSERT_EQ(pthread_mutexCS_init(&lock, nullptr), 0);
    EXPECT_NE(lock, nullptr);
    EXPECT_EQ(pthread_mutexCS_destroy(&lock), 0);
    EXPECT_EQ(lock, nullptr);
    for (const auto operation : {pthread_mutexCS_lock, pthread_mutexCS_trylock,
                                 pthread_mutexCS_unlock, pthread_mutexCS_destroy})
    {
        EXPECT_EQ(operation(&lock), EINVAL);
        EXPECT_EQ(operation(nullptr), EINVAL);
    }
    EXPECT_EQ(pthread_mutexCS_init(nullptr, nullptr), EINVAL);
}

TEST(MutexCS, ATakenLockIsBusyForEverybody)
{
    pthread_mutexCS_t lock = nullptr;
    ASSERT_EQ(pthread_mutexCS_init(&lock, nullptr), 0);
    EXPECT_EQ(pthread_mutexCS_lock(&lock), 0);
    int other = 0;
    std::thread([&] { other = pthread_mutexCS_trylock(&lock); }).join();
    EXPECT_EQ(other, EBUSY);
    EXPECT_EQ(pthread_mutexCS_trylock(&lock), EBUSY) << "not recursive";
    EXPECT_EQ(pthread_mutexCS_unlock(&lock), 0);
    EXPECT_EQ(pthread_mutexCS_trylock(&lock), 0);
    EXPECT_EQ(pthread_mutexCS_unlock(&lock), 0);
    EXPECT_EQ(pthread_mutexCS_destroy(&lock), 0);
}

TEST(MutexCS, ConcurrentOwnersComeOneByOne)
{
    pthread_mutexCS_t lock = nullptr;
    ASSERT_EQ(pthread_mutexCS_init(&lock, nullptr), 0);
    int count = 0; // plain on purpose: the lock guards it
    std::vector<std::thread> owners;
    for (int i = 0; i < 8; ++i)
        owners.emplace_back(
            [&]
            {
                for (int k = 0; k < 5'000; ++k)
                {
                    pthread_mutexCS_lock(&lock);
                    ++count;
                    pthread_mutexCS_unlock(&lock);
                }
            });
    for (std::thread& owner : owners)
        owner.join();
    EXPECT_EQ(count, 40'000);
    EXPECT_EQ(pthread_mutexCS_destroy(&lock), 0);
}

TEST(MutexCS, WithItsInitialValueNeedsNoInitAndIsMadeOnceByConcurrentOwners)
{
    for (int round = 0; round < 200; ++round)
    {
        pthread_mutexCS_t lock = PTHREAD_MUTEXCS_INITIALIZER;
        int count = 0; // plain on purpose: the lock guards it
        std::vector<std::thread> owners;
        for (int i = 0; i < 4; ++i)
            owners.emplace_back(
                [&]
                {
                    EXPECT_EQ(pthread_mutexCS_lock(&lock), 0);
                    ++count;
                    EXPECT_EQ(pthread_mutexCS_unlock(&lock), 0);
                });
        for (std::thread& owner : owners)
            owner.join();
        EXPECT_EQ(count, 4);
        EXPECT_EQ(pthread_mutexCS_trylock(&lock), 0);
        EXPECT_EQ(pthread_mutexCS_unlock(&lock), 0);
        EXPECT_EQ(pthread_mutexCS_destroy(&lock), 0);
        EXPECT_EQ(pthread_mutexCS_lock(&lock), EINVAL);
    }
    pthread_mutexCS_t unused = PTHREAD_MUTEXCS_INITIALIZER;
    EXPECT_EQ(pthread_mutexCS_unlock(&unused), EINVAL) << "nobody holds it";
    EXPECT_EQ(pthread_mutexCS_destroy(&unused), 0);
    EXPECT_EQ(unused, nullptr);
}
