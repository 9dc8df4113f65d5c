// The queue of a thread: which messages come out, in which order, and who may post; and message
// timers.
#include <tuple>

#include "support/test.h"

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

// ---- timers: a test counts how often and in which order the procedures ran; bench/ measures how
// exact the times are

std::vector<UINT_PTR> g_fired;

void CALLBACK record(HWND window, UINT message, UINT_PTR id, DWORD)
{
    EXPECT_EQ(window, nullptr);
    EXPECT_EQ(message, WM_TIMER);
    g_fired.push_back(id);
}

int64_t now_ns()
{
    LARGE_INTEGER count;
    QueryPerformanceCounter(&count);
    return count.QuadPart;
}

int64_t now_ms()
{
    return now_ns() / 1'000'000;
}

class MessageTimers : public testing::Test
{
protected:
    MessageTimers() { g_fired.clear(); }
    ~MessageTimers() override
    {
        PlinthTestReset();
        for (const UINT_PTR id : timers)
            KillTimer(nullptr, id);
    }
    UINT_PTR set(UINT milliseconds, UINT_PTR id = 0)
    {
        const UINT_PTR made = SetTimer(nullptr, id, milliseconds, record);
        timers.push_back(made);
        return made;
    }

    std::vector<UINT_PTR> timers;
};

TEST_F(MessageTimers, ComeBehindAllElseAndOnceHoweverLate)
{
    set(0); // raised to the least period
    const int64_t start = now_ms();
    while (now_ms() - start < 5 * USER_TIMER_MINIMUM) // the test is about this delay
        Sleep(USER_TIMER_MINIMUM);
    PostThreadMessageW(GetCurrentThreadId(), WM_APP, 0, 0);
    PostQuitMessage(0);
    MSG message;
    for (const UINT expected : {WM_APP, WM_QUIT, WM_TIMER})
    {
        ASSERT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE));
        EXPECT_EQ(message.message, expected) << "looked at, and left there";
        PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);
    }
    // Five periods have passed. Ticks keep their multiples of the period: the next one is less than
    // a period away.
    EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) &&
                 now_ms() - start < 5 * USER_TIMER_MINIMUM);
}

TEST_F(MessageTimers, StartAnewUnderTheirIdAndGetAnIdOtherwise)
{
    const UINT_PTR id = set(60'000);
    const int64_t start = now_ns();
    EXPECT_EQ(set(20, id), id);
    MSG message;
    EXPECT_EQ(GetMessageW(&message, nullptr, 0, 0), TRUE);
    DispatchMessageW(&message);
    EXPECT_GE(now_ns() - start, 20'000'000);
    EXPECT_EQ(g_fired, std::vector{id});
    const UINT_PTR other = set(10, 77);
    EXPECT_NE(other, 77u) << "there is no such timer";
}

TEST_F(MessageTimers, BelongToTheirThreadAndGoWithIt)
{
    const UINT_PTR mine = set(60'000);
    UINT_PTR theirs = 0;
    on_new_thread(
        [&]
        {
            theirs = SetTimer(nullptr, 0, 10, record);
            EXPECT_EQ(refusal(KillTimer(nullptr, mine)), ERROR_INVALID_PARAMETER);
        });
    EXPECT_FALSE(KillTimer(nullptr, theirs));
    PlinthTestFail("SetTimer", 1, 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(refusal(SetTimer(nullptr, 0, 10, record)), ERROR_NOT_ENOUGH_MEMORY);
}

} // namespace
