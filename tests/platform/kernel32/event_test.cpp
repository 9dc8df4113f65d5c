// Events within one process, and waiting.
#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <windows.h>

namespace
{

class Event
{
public:
    Event(bool manual_reset, bool initial)
        : m_handle(CreateEventW(nullptr, manual_reset, initial, nullptr))
    {
    }
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;
    ~Event() { CloseHandle(m_handle); }
    operator HANDLE() const { return m_handle; }

private:
    const HANDLE m_handle;
};

} // namespace

TEST(Event, AnAutoResetSignalIsTakenByOneWait)
{
    const Event event(false, true);
    EXPECT_EQ(WaitForSingleObject(event, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_TRUE(SetEvent(event)); // signals don't add up
    EXPECT_EQ(WaitForSingleObject(event, 1000), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(event, 1), WAIT_TIMEOUT);
}

TEST(Event, AManualResetSignalStaysUntilItIsReset)
{
    const Event event(true, false);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(event, INFINITE), WAIT_OBJECT_0);
    EXPECT_TRUE(ResetEvent(event));
    EXPECT_EQ(WaitForSingleObject(event, 1), WAIT_TIMEOUT);
}

TEST(Event, WhatCantBeWaitedOnIsRefused)
{
    const HANDLE mapping =
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, nullptr);
    ASSERT_NE(mapping, nullptr);
    HANDLE closed = CreateEventA(nullptr, FALSE, TRUE, nullptr);
    CloseHandle(closed);
    for (const HANDLE handle : {mapping, closed, HANDLE{}, INVALID_HANDLE_VALUE})
    {
        SetLastError(0);
        EXPECT_EQ(WaitForSingleObject(handle, 0), WAIT_FAILED);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
        SetLastError(0);
        EXPECT_FALSE(SetEvent(handle));
        EXPECT_FALSE(ResetEvent(handle));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    }
    CloseHandle(mapping);
}

TEST(Event, OfConcurrentWaitersEachSignalReleasesOne)
{
    constexpr int waiters = 16;
    const Event event(false, false);
    const Event released(false, false);
    std::atomic<int> count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < waiters; ++i)
        threads.emplace_back(
            [&]
            {
                if (WaitForSingleObject(event, INFINITE) == WAIT_OBJECT_0)
                    ++count;
                SetEvent(released);
            });
    for (int i = 1; i <= waiters; ++i)
    {
        SetEvent(event);
        ASSERT_EQ(WaitForSingleObject(released, INFINITE), WAIT_OBJECT_0);
        EXPECT_EQ(count, i);
        EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT) << "the signal was taken";
    }
    for (std::thread& thread : threads)
        thread.join();
}

TEST(Event, AManualResetSignalReleasesAllConcurrentWaiters)
{
    const Event event(true, false);
    std::vector<std::thread> threads;
    for (int i = 0; i < 16; ++i)
        threads.emplace_back([&] { EXPECT_EQ(WaitForSingleObject(event, INFINITE), 0u); });
    SetEvent(event);
    for (std::thread& thread : threads)
        thread.join();
}

TEST(Event, ConcurrentPartnersHandOverWhatTheyWrote)
{
    constexpr int rounds = 20'000;
    const Event ping(false, false);
    const Event pong(false, false);
    int value = 0; // plain on purpose: the events order the accesses
    std::thread partner(
        [&]
        {
            for (int i = 0; i < rounds; ++i)
            {
                WaitForSingleObject(ping, INFINITE);
                ++value;
                SetEvent(pong);
            }
        });
    for (int i = 0; i < rounds; ++i)
    {
        ++value;
        SetEvent(ping);
        ASSERT_EQ(WaitForSingleObject(pong, INFINITE), WAIT_OBJECT_0);
    }
    partner.join();
    EXPECT_EQ(value, 2 * rounds);
}

TEST(Event, ASignalBesideAConcurrentTimeOutIsNotLost)
{
    const Event event(false, false);
    for (int i = 0; i < 200; ++i)
    {
        std::thread setter([&] { SetEvent(event); });
        // Times out about when the signal comes: one of the two waits has to get it.
        const DWORD first = WaitForSingleObject(event, 0);
        const DWORD second = first == WAIT_TIMEOUT ? WaitForSingleObject(event, 1) : first;
        setter.join();
        if (second == WAIT_TIMEOUT)
        {
            ASSERT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
        }
        ASSERT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
    }
}
