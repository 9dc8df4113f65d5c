#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <windows.h>

namespace
{

HANDLE new_event()
{
    return CreateEventA(nullptr, TRUE, FALSE, nullptr);
}

TEST(Handles, StaleAndForeignOnesAreRefused)
{
    const HANDLE handle = new_event();
    ASSERT_NE(handle, nullptr);
    EXPECT_TRUE(SetEvent(handle));
    EXPECT_TRUE(CloseHandle(handle));
    for (const HANDLE bad :
         {handle, HANDLE{nullptr}, INVALID_HANDLE_VALUE, reinterpret_cast<HANDLE>(uintptr_t{8}),
          reinterpret_cast<HANDLE>(uintptr_t{0x123456789})})
    {
        SetLastError(0);
        EXPECT_FALSE(SetEvent(bad));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
        EXPECT_FALSE(CloseHandle(bad));
        EXPECT_EQ(WaitForSingleObject(bad, 0), WAIT_FAILED);
    }
    // The slot is used again, and the old handle still means nothing.
    const HANDLE next = new_event();
    EXPECT_NE(next, handle);
    EXPECT_FALSE(SetEvent(handle));
    EXPECT_EQ(WaitForSingleObject(next, 0), WAIT_TIMEOUT);
    EXPECT_FALSE(FindClose(next)) << "of another kind";
    DWORD size = 0;
    EXPECT_EQ(GetFileSize(next, &size), INVALID_FILE_SIZE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_TRUE(CloseHandle(next));
}

TEST(Handles, EachNamesItsOwnObjectHoweverManyThereAre)
{
    std::vector<HANDLE> handles;
    for (int i = 0; i < 5000; ++i)
        handles.push_back(new_event());
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
    std::atomic<HANDLE> shared{new_event()};
    std::atomic<bool> done{false};
    std::atomic<long> used{0};
    std::vector<std::thread> users;
    for (int i = 0; i < 3; ++i)
        users.emplace_back(
            [&]
            {
                while (!done)
                    used +=
                        SetEvent(shared.load()) && WaitForSingleObject(shared, 0) <= WAIT_TIMEOUT;
            });
    for (int i = 0; i < 3000 || used == 0; ++i)
    {
        const HANDLE old = shared.exchange(new_event());
        EXPECT_TRUE(CloseHandle(old));
    }
    done = true;
    for (std::thread& user : users)
        user.join();
    EXPECT_TRUE(CloseHandle(shared));
}

} // namespace
