// The plain lock.

#include "support/test.h"

#include <plinth_w32_pthreadVC.h>

namespace
{

class MutexCS : public testing::Test
{
protected:
    // Each thread counts that many times under the lock.
    int count_under_lock(int threads, int rounds)
    {
        int count = 0; // not atomic: the lock protects it
        std::vector<std::thread> owners;
        for (int i = 0; i < threads; ++i)
            owners.emplace_back(
                [&]
                {
                    for (int k = 0; k < rounds; ++k)
                    {
                        EXPECT_EQ(pthread_mutexCS_lock(&m_lock), 0);
                        ++count;
                        EXPECT_EQ(pthread_mutexCS_unlock(&m_lock), 0);
                    }
                });
        for (std::thread& owner : owners)
            owner.join();
        return count;
    }
    pthread_mutexCS_t m_lock = nullptr;
};

TEST_F(MutexCS, IsNullBeforeItIsMadeAndAfterItsEnd)
{
    ASSERT_EQ(pthread_mutexCS_init(&m_lock, nullptr), 0);
    EXPECT_NE(m_lock, nullptr);
    EXPECT_EQ(pthread_mutexCS_destroy(&m_lock), 0);
    EXPECT_EQ(m_lock, nullptr);
    for (const auto operation : {pthread_mutexCS_lock, pthread_mutexCS_trylock,
                                 pthread_mutexCS_unlock, pthread_mutexCS_destroy})
    {
        EXPECT_EQ(operation(&m_lock), EINVAL);
        EXPECT_EQ(operation(nullptr), EINVAL);
    }
    EXPECT_EQ(pthread_mutexCS_init(nullptr, nullptr), EINVAL);
}

TEST_F(MutexCS, ConcurrentOwnersComeOneByOne)
{
    ASSERT_EQ(pthread_mutexCS_init(&m_lock, nullptr), 0);
    EXPECT_EQ(count_under_lock(8, 5'000), 40'000);
    EXPECT_EQ(pthread_mutexCS_trylock(&m_lock), 0);
    EXPECT_EQ(pthread_mutexCS_trylock(&m_lock), EBUSY) << "not recursive";
    int other = 0;
    std::thread([&] { other = pthread_mutexCS_trylock(&m_lock); }).join();
    EXPECT_EQ(other, EBUSY);
    EXPECT_EQ(pthread_mutexCS_unlock(&m_lock), 0);
    EXPECT_EQ(pthread_mutexCS_destroy(&m_lock), 0);
}

TEST_F(MutexCS, WithItsInitialValueNeedsNoInitAndIsMadeOnceByConcurrentOwners)
{
    for (int round = 0; round < 200; ++round)
    {
        m_lock = PTHREAD_MUTEXCS_INITIALIZER;
        EXPECT_EQ(count_under_lock(4, 1), 4);
        EXPECT_EQ(pthread_mutexCS_trylock(&m_lock), 0);
        EXPECT_EQ(pthread_mutexCS_unlock(&m_lock), 0);
        EXPECT_EQ(pthread_mutexCS_destroy(&m_lock), 0);
        EXPECT_EQ(pthread_mutexCS_lock(&m_lock), EINVAL);
    }
    m_lock = PTHREAD_MUTEXCS_INITIALIZER;
    EXPECT_EQ(pthread_mutexCS_unlock(&m_lock), EINVAL) << "nobody holds it";
    EXPECT_EQ(pthread_mutexCS_destroy(&m_lock), 0);
    EXPECT_EQ(m_lock, nullptr);
}

} // namespace
