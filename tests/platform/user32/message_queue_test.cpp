// The queue of a thread: what comes out, in which order, and who may put in.
#include <atomic>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <windows.h>

#include "support/refusal.h"

namespace
{

using test::refusal;

// Runs the body on a thread of its own, which has no queue yet.
template <class Body> void on_new_thread(Body body)
{
    std::thread(body).join();
}

UINT next_message(UINT first = 0, UINT last = 0)
{
    MSG message;
    return PeekMessageW(&message, nullptr, first, last, PM_REMOVE) ? message.message : WM_NULL;
}

TEST(MessageQueue, IsThereFromTheFirstCallOnAndAFilterPassesOverOthersButNotOverTheEnd)
{
    std::atomic<DWORD> id{0};
    on_new_thread(
        [&]
        {
            id = GetCurrentThreadId();
            EXPECT_EQ(refusal(PostThreadMessageW(id, WM_APP, 0, 0)), ERROR_INVALID_THREAD_ID);
            EXPECT_EQ(next_message(), WM_NULL);
            PostThreadMessageW(id, WM_APP, 6, -5);
            PostThreadMessageW(id, WM_USER, 0, 0);
            EXPECT_EQ(next_message(WM_USER, WM_USER), WM_USER);
            EXPECT_EQ(next_message(WM_USER, WM_USER), WM_NULL);
            PostQuitMessage(7);
            MSG message;
            EXPECT_TRUE(PeekMessageW(&message, nullptr, WM_USER, WM_USER, PM_REMOVE));
            EXPECT_EQ(std::pair(message.message, message.wParam),
                      std::pair(UINT{WM_QUIT}, WPARAM{7}));
            EXPECT_EQ(GetMessageW(&message, nullptr, 0, 0), TRUE);
            EXPECT_EQ(std::tuple(message.message, message.wParam, message.lParam, message.hwnd),
                      std::tuple(UINT{WM_APP}, 6u, -5, HWND{}));
            EXPECT_FALSE(TranslateMessage(&message));
            EXPECT_EQ(DispatchMessageW(&message), 0);
            EXPECT_EQ(next_message(), WM_NULL) << "the end comes once";
        });
    EXPECT_EQ(refusal(PostThreadMessageW(id, WM_APP, 0, 0)), ERROR_INVALID_THREAD_ID);
}

TEST(MessageQueue, RefusesWhatItCanNotDo)
{
    on_new_thread(
        []
        {
            MSG message;
            const HWND window = reinterpret_cast<HWND>(LONG_PTR{0x1234});
            EXPECT_EQ(refusal(GetMessageW(&message, window, 0, 0), -1),
                      ERROR_INVALID_WINDOW_HANDLE);
            EXPECT_EQ(refusal(GetMessageW(nullptr, nullptr, 0, 0), -1), ERROR_NOACCESS);
            EXPECT_EQ(refusal(PeekMessageW(&message, window, 0, 0, PM_REMOVE)),
                      ERROR_INVALID_WINDOW_HANDLE);
            const DWORD self = GetCurrentThreadId();
            for (int i = 0; i < 10'000; ++i)
                ASSERT_TRUE(PostThreadMessageW(self, WM_APP, 0, 0));
            EXPECT_EQ(refusal(PostThreadMessageW(self, WM_APP, 0, 0)), ERROR_NOT_ENOUGH_QUOTA);
        });
}

TEST(MessageQueueConcurrent, AWaitingThreadGetsEachMessageOfEachSenderInOrder)
{
    constexpr UINT senders = 4;
    constexpr int messages = 3'000;
    std::atomic<DWORD> receiver{0};
    std::thread thread(
        [&]
        {
            MSG message;
            PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);
            receiver = GetCurrentThreadId();
            receiver.notify_all();
            std::vector<LPARAM> next(senders, 0);
            while (GetMessageW(&message, nullptr, 0, 0) > 0)
                EXPECT_EQ(message.lParam, next[message.wParam]++);
            EXPECT_EQ(next, std::vector<LPARAM>(senders, messages));
        });
    receiver.wait(0);
    std::vector<std::jthread> all;
    for (UINT sender = 0; sender < senders; ++sender)
        all.emplace_back(
            [&, sender]
            {
                for (int i = 0; i < messages; ++i)
                    while (!PostThreadMessageW(receiver, WM_APP, sender, i)) // full
                        Sleep(1);
            });
    all.clear();
    EXPECT_TRUE(PostThreadMessageW(receiver, WM_QUIT, 0, 0));
    thread.join();
}

} // namespace
