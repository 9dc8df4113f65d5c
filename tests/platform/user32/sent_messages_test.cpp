// Messages between threads: answers, limits, threads that hang, end or are terminated.

#include <process.h>

#include "support/test.h"

#include "support/refusal.h"
#include "support/soak.h"
#include "support/wide_text.h"
#include "support/window_thread.h"

namespace
{

using Body = std::function<LRESULT(WPARAM)>;
constexpr UINT message_run = WM_APP + 1; // runs the Body at lParam on the window's thread

const Body add_one = [](WPARAM number) { return static_cast<LRESULT>(number) + 1; };
const Body leave = [](WPARAM)
{
    _endthreadex(0);
    return 0;
};

LRESULT CALLBACK answer(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    return message == message_run ? (*reinterpret_cast<const Body*>(lParam))(wParam)
                                  : DefWindowProcW(window, message, wParam, lParam);
}

HWND make()
{
    test::register_class(L"Answering", answer);
    return test::create_window(L"Answering", L"first");
}

LRESULT send(HWND window, const Body& body, WPARAM wParam = 0)
{
    return SendMessageW(window, message_run, wParam, reinterpret_cast<LPARAM>(&body));
}

// 0, or why it failed.
DWORD send_within(UINT limit, HWND window, UINT message, WPARAM wParam, const void* lParam,
                  DWORD_PTR* result = nullptr)
{
    return test::refusal(SendMessageTimeoutW(
        window, message, wParam, reinterpret_cast<LPARAM>(lParam), SMTO_NORMAL, limit, result));
}

struct SentMessages : testing::Test
{
    const HANDLE release = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const Body hang = [this](WPARAM)
    { return static_cast<LRESULT>(WaitForSingleObject(release, INFINITE)); };
    ~SentMessages() override { CloseHandle(release); }
};

TEST_F(SentMessages, AreAnsweredByTheThreadOfTheWindow)
{
    const test::WindowThread thread(make);
    const HWND other = thread.window();
    EXPECT_EQ(send(other, add_one, 4), 5);
    EXPECT_TRUE(SetWindowTextW(other, L"second"));
    wchar_t text[16];
    EXPECT_EQ(GetWindowTextW(other, text, 16), 6);
    EXPECT_EQ(test::utf8(text), "second");
    EXPECT_EQ(test::refusal(DestroyWindow(other)), ERROR_ACCESS_DENIED);
    EXPECT_EQ(test::refusal(SetTimer(other, 1, 10, nullptr)), ERROR_WINDOW_OF_OTHER_THREAD);
    const HWND mine = make();
    EXPECT_EQ(send(
                  other, [mine](WPARAM number) { return send(mine, add_one, number); }, 4),
              5)
        << "a sender takes what is sent to it meanwhile";
    DestroyWindow(mine);
}

TEST_F(SentMessages, ALimitEndsTheWaitAndTheMessageIsHandledLater)
{
    const test::WindowThread thread(make);
    const HWND other = thread.window();
    EXPECT_EQ(send_within(30, other, message_run, 0, &hang), ERROR_TIMEOUT);
    // The sender's text is freed before the thread looks at the message.
    EXPECT_EQ(send_within(20, other, WM_SETTEXT, 0, test::Wide(L"late").c_str()), ERROR_TIMEOUT);
    SetEvent(release);
    EXPECT_EQ(send(other, add_one, 1), 2);
    wchar_t title[16];
    GetWindowTextW(other, title, 16);
    EXPECT_EQ(test::utf8(title), "late");
    // If the thread ends before the answer, the call fails.
    EXPECT_EQ(send_within(INFINITE, other, message_run, 0, &leave), ERROR_INVALID_WINDOW_HANDLE);
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
    EXPECT_EQ(send_within(20, window, message_run, 0, &hang), ERROR_TIMEOUT);
    std::thread sender([&] { EXPECT_EQ(send(window, add_one, 1), 0); });
    EXPECT_TRUE(TerminateThread(thread, 1));
    sender.join();
    EXPECT_FALSE(IsWindow(window));
    CloseHandle(thread);
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
        std::vector<std::jthread> senders;
        for (int i = 0; i < threads; ++i)
            senders.emplace_back(
                [&, i]
                {
                    const HWND to = windows[static_cast<size_t>(i)]->window();
                    const HWND next = windows[static_cast<size_t>((i + 1) % threads)]->window();
                    const Body pass_on = [next](WPARAM n) { return send(next, add_one, n); };
                    for (WPARAM n = 0; n < 300; ++n)
                    {
                        EXPECT_EQ(send(to, pass_on, n), static_cast<LRESULT>(n) + 1);
                        DWORD_PTR result = 0;
                        EXPECT_EQ(send_within(60'000, next, message_run, n, &add_one, &result), 0u);
                        EXPECT_EQ(result, n + 1);
                    }
                });
        senders.clear();
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
        test::WindowThread other(make);
        std::vector<std::jthread> senders;
        for (int i = 0; i < 3; ++i)
            senders.emplace_back(
                [&]
                {
                    while (IsWindow(other.window()))
                        send_within(60'000, other.window(), WM_SETTEXT, 0, L"text");
                });
        send(other.window(), add_one);
        other.end();
    } while (++rounds < 20 || soak.goes_on());
    soak.report("threads ended under their senders", rounds);
}

} // namespace
