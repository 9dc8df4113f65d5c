// Handles, events within one process, waiting, and critical sections.
#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <windows.h>

#include "support/handles.h"

using test::error_of;
using test::Handle;
using test::new_event;

namespace
{

bool another_thread_gets(CRITICAL_SECTION* section)
{
    BOOL got = FALSE;
    const auto try_once = [&]
    {
        got = TryEnterCriticalSection(section);
        if (got)
            LeaveCriticalSection(section);
    };
    std::thread(try_once).join();
    return got;
}

} // namespace

TEST(Handles, StaleForeignAndOtherKindsAreRefused)
{
    Handle event = new_event(true);
    const HANDLE stale = event;
    EXPECT_TRUE(SetEvent(stale));
    EXPECT_TRUE(event.close());
    // The slot is used again, and the old handle still means nothing.
    const Handle next = new_event(true);
    EXPECT_NE(HANDLE{next}, stale);
    const Handle mapping(
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, nullptr));
    ASSERT_TRUE(mapping);
    for (const HANDLE bad :
         {stale, HANDLE{mapping}, HANDLE{nullptr}, INVALID_HANDLE_VALUE,
          reinterpret_cast<HANDLE>(uintptr_t{8}), reinterpret_cast<HANDLE>(uintptr_t{0x123456789})})
    {
        SCOPED_TRACE(bad);
        EXPECT_EQ(error_of(SetEvent(bad)), ERROR_INVALID_HANDLE);
        EXPECT_EQ(error_of(ResetEvent(bad)), ERROR_INVALID_HANDLE);
        EXPECT_EQ(WaitForSingleObject(bad, 0), WAIT_FAILED);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
        EXPECT_TRUE(bad == mapping || error_of(CloseHandle(bad)) == ERROR_INVALID_HANDLE);
    }
    EXPECT_EQ(WaitForSingleObject(next, 0), WAIT_TIMEOUT);
    EXPECT_FALSE(FindClose(next)) << "of another kind";
    DWORD size = 0;
    EXPECT_EQ(GetFileSize(next, &size), INVALID_FILE_SIZE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(Handles, EachNamesItsOwnObjectHoweverManyThereAre)
{
    std::vector<HANDLE> handles;
    for (int i = 0; i < 5000; ++i)
        handles.push_back(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    for (size_t i = 0; i < handles.size(); i += 2)
        EXPECT_TRUE(SetEvent(handles[i]));
    for (size_t i = 0; i < handles.size(); ++i)
    {
        ASSERT_EQ(WaitForSingleObject(handles[i], 0), i % 2 == 0 ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
        EXPECT_TRUE(CloseHandle(handles[i]));
    }
}

TEST(Handles, ConcurrentUseAndClosingNeverMeetsADeadObject)
{
    const auto make = [] { return CreateEventA(nullptr, TRUE, FALSE, nullptr); };
    std::atomic<HANDLE> shared{make()};
    std::atomic<bool> done{false};
    std::atomic<long> used{0};
    std::vector<std::jthread> users;
    for (int i = 0; i < 3; ++i)
        users.emplace_back(
            [&]
            {
                while (!done)
                    used += SetEvent(shared) && WaitForSingleObject(shared, 0) <= WAIT_TIMEOUT;
            });
    for (int i = 0; i < 3000 || used == 0; ++i)
        EXPECT_TRUE(CloseHandle(shared.exchange(make())));
    done = true;
    users.clear();
    EXPECT_TRUE(CloseHandle(shared));
}

TEST(Event, ASignalIsTakenByOneWaitOrStaysUntilItIsReset)
{
    const Handle once = new_event(false, true);
    EXPECT_EQ(WaitForSingleObject(once, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(once, 0), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(once));
    EXPECT_TRUE(SetEvent(once)); // signals don't add up
    EXPECT_EQ(WaitForSingleObject(once, 1000), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(once, 1), WAIT_TIMEOUT);
    const Handle lasting = new_event(true);
    EXPECT_EQ(WaitForSingleObject(lasting, 0), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(lasting));
    EXPECT_EQ(WaitForSingleObject(lasting, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(lasting, INFINITE), WAIT_OBJECT_0);
    EXPECT_TRUE(ResetEvent(lasting));
    EXPECT_EQ(WaitForSingleObject(lasting, 1), WAIT_TIMEOUT);
}

TEST(Event, OfConcurrentWaitersEachSignalReleasesOneOrAll)
{
    constexpr int waiters = 16;
    for (const bool manual_reset : {false, true})
    {
        SCOPED_TRACE(manual_reset);
        const Handle event = new_event(manual_reset);
        const Handle released = new_event();
        std::atomic<int> count = 0;
        std::vector<std::jthread> threads;
        for (int i = 0; i < waiters; ++i)
            threads.emplace_back(
                [&]
                {
                    count += WaitForSingleObject(event, INFINITE) == WAIT_OBJECT_0;
                    SetEvent(released);
                });
        for (int i = 1; i <= waiters && !manual_reset; ++i)
        {
            SetEvent(event);
            ASSERT_EQ(WaitForSingleObject(released, INFINITE), WAIT_OBJECT_0);
            EXPECT_EQ(count, i);
            EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT) << "the signal was taken";
        }
        if (manual_reset)
            SetEvent(event);
        threads.clear();
        EXPECT_EQ(count, waiters);
    }
}

TEST(Event, ConcurrentPartnersHandOverWhatTheyWrote)
{
    constexpr int rounds = 20'000;
    const Handle ping = new_event();
    const Handle pong = new_event();
    int value = 0; // plain on purpose: the events order the accesses
    std::jthread partner(
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
    EXPECT_EQ(value, 2 * rounds);
}

TEST(Event, ASignalBesideAConcurrentTimeOutIsNotLost)
{
    const Handle event = new_event();
    for (int i = 0; i < 200; ++i)
    {
        std::thread setter(SetEvent, HANDLE{event});
        // Times out about when the signal comes: one of the waits has to get it, and only one.
        int taken = WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
        if (!taken)
            taken += WaitForSingleObject(event, 1) == WAIT_OBJECT_0;
        setter.join();
        taken += WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
        ASSERT_EQ(taken, 1);
    }
}

TEST(CriticalSection, ItsOwnerEntersAgainAndLeavesAsOften)
{
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    EnterCriticalSection(&section);
    EnterCriticalSection(&section);
    EXPECT_TRUE(TryEnterCriticalSection(&section));
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_FALSE(another_thread_gets(&section));
        LeaveCriticalSection(&section);
    }
    EXPECT_TRUE(another_thread_gets(&section));
    DeleteCriticalSection(&section);
    EnterCriticalSection(&section); // does not crash
    LeaveCriticalSection(&section);
}

TEST(CriticalSection, ConcurrentOwnersComeOneByOne)
{
    constexpr int threads = 8;
    constexpr int rounds = 5'000;
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    int count = 0; // plain on purpose: the section guards it
    std::vector<std::jthread> owners;
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
    owners.clear();
    EXPECT_EQ(count, threads * rounds);
    DeleteCriticalSection(&section);
}
