// Critical sections.
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <windows.h>

namespace
{

class Section
{
public:
    Section() { InitializeCriticalSection(&m_section); }
    Section(const Section&) = delete;
    Section& operator=(const Section&) = delete;
    ~Section() { DeleteCriticalSection(&m_section); }
    CRITICAL_SECTION* operator&() { return &m_section; }

private:
    CRITICAL_SECTION m_section;
};

bool another_thread_gets(CRITICAL_SECTION* section)
{
    bool got = false;
    std::thread(
        [&]
        {
            got = TryEnterCriticalSection(section) != FALSE;
            if (got)
                LeaveCriticalSection(section);
        })
        .join();
    return got;
}

} // namespace

TEST(CriticalSection, ItsOwnerEntersAgainAndLeavesAsOften)
{
    Section section;
    EnterCriticalSection(&section);
    EnterCriticalSection(&section);
    EXPECT_TRUE(TryEnterCriticalSection(&section));
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_FALSE(another_thread_gets(&section));
        LeaveCriticalSection(&section);
    }
    EXPECT_TRUE(another_thread_gets(&section));
}

TEST(CriticalSection, EnteringADeletedOneDoesNotCrash)
{
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    DeleteCriticalSection(&section);
    EnterCriticalSection(&section);
    LeaveCriticalSection(&section);
}

TEST(CriticalSection, ConcurrentOwnersComeOneByOne)
{
    constexpr int threads = 8;
    constexpr int rounds = 5'000;
    Section section;
    int count = 0; // plain on purpose: the section guards it
    std::vector<std::thread> owners;
    for (int i = 0; i < threads; ++i)
        owners.emplace_back(
            [&]
            {
                for (int k = 0; k < rounds; ++k)
                {
                    EnterCriticalSection(&section);
                    ++count;
                    if (k % 64 == 0)
                        Sleep(0); // lets others run into the lock
                    LeaveCriticalSection(&section);
                }
            });
    for (std::thread& owner : owners)
        owner.join();
    EXPECT_EQ(count, threads * rounds);
}
