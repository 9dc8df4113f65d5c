// Messages between threads: answers, limits, threads that hang, end or are terminated.
#include <atomic>
#include <thread>
#include <vector>

#include <process.h>

#include <gtest/gtest.h>

#include <windows.h>

#include "support/soak.h"
#include "support/wide_text.h"
#include "support/window_thread.h"

namespace
{

constexpr UINT message_add = WM_APP + 1;   // gives wParam + 1
constexpr UINT message_hang = WM_APP + 2;  // waits until the event in lParam is set
constexpr UINT message_back = WM_APP + 3;  // asks the window in lParam for wParam + 1
constexpr UINT message_count = WM_APP + 4; // counts in the int at lParam
constexpr UINT message_leave = WM_APP + 5; // ends the thread

LRESULT CALLBACK answer(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message)
    {
    case message_add:
        return static_cast<LRESULT>(wParam) + 1;
    case message_hang:
        WaitForSingleObject(reinterpret_cast<HANDLE>(lParam), INFINITE);
        return 7;
    case message_back:
        return SendMessageW(reinterpret_cast<HWND>(lParam), message_add, wParam, 0);
    case message_count:
        ++*reinterpret_cast<std::atomic<int>*>(lParam);
        return 0;
    case message_leave:
        _endthreadex(0);
        return 0;
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

HWND make()
{
    test::register_class(L"Answering", answer);
    return test::create_window(L"Answering", L"first");
}

struct SentMessages : testing::Test
{
    const HANDLE release = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ~SentMessages() override { CloseHandle(release); }
};

TEST_F(SentMessages, AreAnsweredByTheThreadOfTheWindow)
{
    const test::WindowThread other(make);
    EXPECT_EQ(SendMessageW(other.window(), message_add, 4, 0), 5);
    DWORD_PTR result = 0;
    EXPECT_TRUE(SendMessageTimeoutW(other.window(), message_add, 9, 0, SMTO_NORMAL, 3000, &result));
    EXPECT_EQ(result, 10u);
    EXPECT_TRUE(SetWindowTextW(other.window(), L"second"));
    wchar_t text[16];
    EXPECT_EQ(GetWindowTextW(other.window(), text, 16), 6);
    EXPECT_EQ(test::utf8(text), "second");
    text[0] = L'\0';
    EXPECT_TRUE(SendMessageTimeoutW(other.window(), WM_GETTEXT, 4, reinterpret_cast<LPARAM>(text),
                                    0, 3000, &result));
    EXPECT_EQ(test::utf8(text), "sec") << "a copy travels and comes back";
    EXPECT_FALSE(DestroyWindow(other.window()));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(SetTimer(other.window(), 1, 10, nullptr), 0u);
    EXPECT_EQ(GetLastError(), ERROR_WINDOW_OF_OTHER_THREAD);
}

TEST_F(SentMessages, ASenderTakesWhatIsSentToItMeanwhile)
{
    const test::WindowThread other(make);
    const HWND mine = make();
    EXPECT_EQ(SendMessageW(other.window(), message_back, 4, reinterpret_cast<LPARAM>(mine)), 5);
    DestroyWindow(mine);
}

TEST_F(SentMessages, ALimitEndsTheWaitAndTheMessageIsHandledLater)
{
    std::atomic<int> counted{0};
    {
        const test::WindowThread other(make);
        DWORD_PTR result = 42;
        EXPECT_FALSE(SendMessageTimeoutW(other.window(), message_hang, 0,
                                         reinterpret_cast<LPARAM>(release), 0, 30, &result));
        EXPECT_EQ(GetLastError(), ERROR_TIMEOUT);
        EXPECT_EQ(result, 42u);
        // Its own text goes before the thread looks at the message.
        const auto text = std::make_unique<test::Wide>(L"late");
        EXPECT_FALSE(SendMessageTimeoutW(other.window(), WM_SETTEXT, 0,
                                         reinterpret_cast<LPARAM>(text->c_str()), 0, 20, nullptr));
        EXPECT_FALSE(SendMessageTimeoutW(other.window(), message_count, 0,
                                         reinterpret_cast<LPARAM>(&counted), 0, 20, nullptr));
        SetEvent(release);
        EXPECT_EQ(SendMessageW(other.window(), message_add, 1, 0), 2);
        wchar_t title[16];
        GetWindowTextW(other.window(), title, 16);
        EXPECT_EQ(test::utf8(title), "late");
    }
    EXPECT_EQ(counted, 1);
}

TEST_F(SentMessages, FailWhenTheThreadEndsBeforeTheAnswer)
{
    const test::WindowThread other(make);
    DWORD_PTR result = 42;
    EXPECT_FALSE(
        SendMessageTimeoutW(other.window(), message_leave, 0, 0, SMTO_NORMAL, INFINITE, &result));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_WINDOW_HANDLE);
    EXPECT_FALSE(IsWindow(other.window()));
    EXPECT_EQ(SendMessageW(other.window(), message_add, 1, 0), 0);
}

unsigned pump(void* made)
{
    *static_cast<std::atomic<HWND>*>(made) = make();
    static_cast<std::atomic<HWND>*>(made)->notify_all();
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0)
        DispatchMessageW(&message);
    return 0;
}

TEST_F(SentMessages, OfATerminatedThreadFailAndItsWindowsAreGone)
{
    std::atomic<HWND> window{nullptr};
    const auto thread =
        reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, pump, &window, 0, nullptr));
    ASSERT_NE(thread, nullptr);
    window.wait(nullptr);
    EXPECT_FALSE(SendMessageTimeoutW(window, message_hang, 0, reinterpret_cast<LPARAM>(release), 0,
                                     20, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_TIMEOUT);
    std::thread sender([&] { EXPECT_EQ(SendMessageW(window, message_add, 1, 0), 0); });
    EXPECT_TRUE(TerminateThread(thread, 1));
    sender.join();
    EXPECT_FALSE(IsWindow(window));
    EXPECT_EQ(FindWindowW(L"Answering", nullptr), nullptr);
    CloseHandle(thread);
}

TEST_F(SentMessages, ShowingCanBeLeftToTheThreadOfTheWindow)
{
    const test::WindowThread other(make);
    EXPECT_TRUE(ShowWindowAsync(other.window(), SW_SHOW));
    SendMessageW(other.window(), WM_NULL, 0, 0); // comes behind it
    EXPECT_TRUE(IsWindowVisible(other.window()));
    EXPECT_EQ(GetActiveWindow(), nullptr) << "that of this thread";
}

TEST(SentMessagesConcurrent, SendersInARingAllGetTheirAnswers)
{
    constexpr int threads = 4;
    const test::SoakTime soak;
    uint64_t rounds = 0;
    do
    {
        std::vector<std::unique_ptr<test::WindowThread>> windows;
        for (int i = 0; i < threads; ++i)
            windows.push_back(std::make_unique<test::WindowThread>(make));
        std::vector<std::thread> senders;
        for (int i = 0; i < threads; ++i)
            senders.emplace_back(
                [&, i]
                {
                    const HWND to = windows[static_cast<size_t>(i)]->window();
                    const HWND next = windows[static_cast<size_t>((i + 1) % threads)]->window();
                    for (int n = 0; n < 300; ++n)
                    {
                        const auto number = static_cast<WPARAM>(n);
                        EXPECT_EQ(
                            SendMessageW(to, message_back, number, reinterpret_cast<LPARAM>(next)),
                            n + 1);
                        DWORD_PTR result = 0;
                        EXPECT_TRUE(
                            SendMessageTimeoutW(next, message_add, number, 0, 0, 60'000, &result));
                        EXPECT_EQ(result, number + 1);
                        SetWindowTextW(to, L"changed");
                        PostMessageW(next, WM_NULL, 0, 0);
                    }
                });
        for (std::thread& each : senders)
            each.join();
        ++rounds;
    } while (soak.goes_on());
    soak.report("rounds of sending in a ring", rounds);
}

TEST(SentMessagesConcurrent, ThreadsThatEndWhileTheyAreSentToLeaveNobodyWaiting)
{
    const test::SoakTime soak;
    uint64_t rounds = 0;
    do
    {
        for (int round = 0; round < 20; ++round, ++rounds)
        {
            test::WindowThread other(make);
            std::vector<std::thread> senders;
            for (int i = 0; i < 3; ++i)
                senders.emplace_back(
                    [&]
                    {
                        while (IsWindow(other.window()))
                            SendMessageTimeoutW(other.window(), WM_SETTEXT, 0,
                                                reinterpret_cast<LPARAM>(L"text"), 0, 60'000,
                                                nullptr);
                    });
            SendMessageW(other.window(), message_add, 0, 0);
            other.end();
            for (std::thread& each : senders)
                each.join();
        }
    } while (soak.goes_on());
    soak.report("threads ended under their senders", rounds);
}

} // namespace
