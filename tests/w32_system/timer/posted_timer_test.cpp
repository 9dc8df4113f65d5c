// Timers that are carried by the message timers of their thread.
#include <cfloat>
#include <thread>

#include <gtest/gtest.h>

#include "timer_calls.h"

using test::TimerCalls;

namespace
{

constexpr unsigned int all_masked = 0x8001F;

uintptr_t set_posted(TimerCalls& calls, double milliseconds, int count)
{
    return QV_SetPostedTimer(TimerCalls::callback, &calls, milliseconds, count);
}

TEST(PostedTimer, CallsOutOfTheDispatchOfItsThreadUntilItsCallsAreUsedUp)
{
    TimerCalls calls;
    const std::thread::id self = std::this_thread::get_id();
    calls.act = [&](int)
    {
        EXPECT_EQ(std::this_thread::get_id(), self);
        QvTimerInfo info = {};
        EXPECT_EQ(QV_GetTimerInfo(QV_GetTimerRecord(0), &info), QV_OK);
        EXPECT_EQ(info.iKind, 4);
        EXPECT_EQ(info.iPrecision, QV_PRECISION_POSTED) << "also below a millisecond";
        EXPECT_EQ(info.iCatchUpMode, 1);
        return 1;
    };
    const uintptr_t id = set_posted(calls, 0.5, 3);
    ASSERT_NE(id, 0u);
    EXPECT_LE(id, UINT32_MAX);
    EXPECT_EQ(test::wait(id), QV_ERR_BADARG);
    test::pump_until([&] { return calls.count() == 3; });
    EXPECT_EQ(test::kill(id), QV_ERR_NULLPTR) << "it has ended";
    EXPECT_EQ(test::wait(id), QV_ERR_NULLPTR);
}

TEST(PostedTimer, EndsAtTheFirstFiringAfterItsKillOrThatAnswers0)
{
    TimerCalls killed, ended;
    ended.act = [](int) { return 0; };
    const uintptr_t first = set_posted(killed, 10.0, 0);
    EXPECT_EQ(test::kill(first), QV_OK);
    EXPECT_EQ(test::kill(first), QV_OK);
    const uintptr_t second = set_posted(ended, 10.0, 0);
    test::pump_until([&] { return !test::record_of(first) && !test::record_of(second); });
    EXPECT_EQ(killed.count(), 0);
    EXPECT_EQ(ended.count(), 1);
}

TEST(PostedTimer, AMessageThatComesAfterItsEndCallsNobody)
{
    TimerCalls calls;
    const uintptr_t id = set_posted(calls, 10.0, 1);
    MSG message;
    ASSERT_GT(GetMessageW(&message, nullptr, WM_TIMER, WM_TIMER), 0);
    EXPECT_EQ(message.wParam, id);
    DispatchMessageW(&message);
    DispatchMessageW(&message);
    EXPECT_EQ(calls.count(), 1);
}

TEST(PostedTimer, ItsCallMayPumpMessagesAndMeetItsOwnTimer)
{
    TimerCalls calls;
    int depth = 0, deepest = 0, started = 0;
    bool pumping = true;
    calls.act = [&](int)
    {
        ++started;
        deepest = std::max(deepest, ++depth);
        if (pumping)
        {
            // Until a timer set after it has fired twice: this one has had its turns by then.
            TimerCalls other;
            set_posted(other, 25.0, 2);
            pumping = depth < 2;
            test::pump_until([&] { return other.count() == 2; });
        }
        --depth;
        return 1;
    };
    const uintptr_t id = set_posted(calls, 10.0, 5);
    test::pump_until([&] { return !test::record_of(id); });
    EXPECT_EQ(started, 5);
    EXPECT_GE(deepest, 2);
    EXPECT_EQ(depth, 0);
}

TEST(PostedTimer, MayEndInACallWithinACall)
{
    TimerCalls calls;
    uintptr_t id = 0;
    int started = 0;
    calls.act = [&](int)
    {
        if (++started > 1)
            return 0;
        TimerCalls other;
        set_posted(other, 25.0, 2);
        test::pump_until([&] { return other.count() == 2; });
        EXPECT_NE(test::record_of(id), nullptr) << "it lives until the outer call is through";
        return 1;
    };
    id = set_posted(calls, 10.0, 0);
    test::pump_until([&] { return !test::record_of(id); });
    EXPECT_EQ(started, 2);
}

TEST(PostedTimer, LeavesFloatingPointExceptionsMaskedWhateverItsCallDid)
{
    TimerCalls calls;
    calls.act = [](int)
    {
        _controlfp(0, _EM_ZERODIVIDE | _EM_INVALID);
        return 1;
    };
    set_posted(calls, 10.0, 2);
    for (const int number : {1, 2}) // the timer goes on, and ends
    {
        test::pump_until([&] { return calls.count() == number; });
        EXPECT_EQ(_control87(0, 0) & all_masked, all_masked);
        volatile double zero = 0.0;
        EXPECT_GT(1.0 / zero, 1e300);
    }
}

} // namespace
