// Message timers. What a test counts is how often its procedure ran and in which order; how exact
// the moments are, bench/ measures.
#include <algorithm>
#include <map>
#include <set>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <windows.h>

#include <plinth_platform_test.h>

#include "support/refusal.h"

namespace
{

using test::refusal;

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

// Dispatches the next message and gives it.
MSG pump()
{
    MSG message;
    EXPECT_EQ(GetMessageW(&message, nullptr, 0, 0), TRUE);
    DispatchMessageW(&message);
    return message;
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
    while (now_ms() - start < 5 * USER_TIMER_MINIMUM) // the lateness is what is under test
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
    // Five periods have passed. The next tick is one of the grid: less than a period ahead.
    EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) &&
                 now_ms() - start < 5 * USER_TIMER_MINIMUM);
}

TEST_F(MessageTimers, StartAnewUnderTheirIdAndGetAnIdOtherwise)
{
    const UINT_PTR id = set(60'000);
    const int64_t start = now_ns();
    EXPECT_EQ(set(20, id), id);
    pump();
    EXPECT_GE(now_ns() - start, 20'000'000);
    EXPECT_EQ(g_fired, std::vector{id});
    const UINT_PTR other = set(10, 77);
    EXPECT_NE(other, 77u) << "there is no such timer";
    EXPECT_TRUE(KillTimer(nullptr, other) && KillTimer(nullptr, id));
    timers.push_back(SetTimer(nullptr, 0, 10, nullptr));
    const MSG message = pump(); // without a procedure it is left to the pump
    EXPECT_EQ(std::tuple(message.message, message.wParam, message.lParam),
              std::tuple(UINT{WM_TIMER}, timers.back(), 0));
}

// Set in no order, some started anew for another moment and some killed.
TEST_F(MessageTimers, ComeByTheirMomentsHoweverManyThereAre)
{
    // Moments on the monotonic clock, in ns, between which each timer is due.
    std::map<UINT_PTR, std::pair<int64_t, int64_t>> due;
    const auto start_one = [&](UINT milliseconds, UINT_PTR id)
    {
        const int64_t period = milliseconds * int64_t{1'000'000};
        const int64_t before = now_ns();
        id = set(milliseconds, id);
        due[id] = {before + period, now_ns() + period};
        return id;
    };
    constexpr UINT count = 300;
    constexpr UINT longest = 60; // ms
    for (UINT i = 0; i < count; ++i)
    {
        const UINT_PTR id = start_one(10 + i * 37 % (longest - 10), 0);
        if (i % 3 == 0)
            start_one(10 + i * 11 % (longest - 10), id);
        if (i % 7 == 0)
        {
            EXPECT_TRUE(KillTimer(nullptr, id));
            due.erase(id);
        }
    }
    const int64_t start = now_ms();
    while (now_ms() - start < longest) // all are due: the order is what is under test
        Sleep(longest);
    std::set<UINT_PTR> seen;
    int64_t latest = 0;
    for (size_t i = 0; i < due.size(); ++i)
    {
        MSG message;
        ASSERT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
        ASSERT_EQ(due.count(message.wParam), 1u) << "one that was killed";
        EXPECT_TRUE(seen.insert(message.wParam).second) << "again before the others";
        EXPECT_GE(due[message.wParam].second, latest);
        latest = std::max(latest, due[message.wParam].first);
    }
}

TEST_F(MessageTimers, BelongToTheirThreadAndGoWithIt)
{
    const UINT_PTR mine = set(60'000);
    UINT_PTR theirs = 0;
    std::thread(
        [&]
        {
            theirs = SetTimer(nullptr, 0, 10, record);
            EXPECT_EQ(refusal(KillTimer(nullptr, mine)), ERROR_INVALID_PARAMETER);
        })
        .join();
    EXPECT_FALSE(KillTimer(nullptr, theirs));
    EXPECT_TRUE(KillTimer(nullptr, mine));
}

TEST_F(MessageTimers, RefuseWhatTheyCanNotDo)
{
    const HWND window = reinterpret_cast<HWND>(LONG_PTR{0x1234});
    EXPECT_EQ(refusal(SetTimer(window, 1, 10, record)), ERROR_INVALID_WINDOW_HANDLE);
    EXPECT_EQ(refusal(KillTimer(window, 1)), ERROR_INVALID_WINDOW_HANDLE);
    PlinthTestFail("SetTimer", 1, 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(refusal(SetTimer(nullptr, 0, 10, record)), ERROR_NOT_ENOUGH_MEMORY);
}

} // namespace
