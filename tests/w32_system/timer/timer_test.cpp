// Timers of all kinds, as an application sees them.
#include <cfloat>

#include "support/test.h"

#include "timer_calls.h"

using test::TimerCalls;

namespace
{

class TimerModes : public testing::TestWithParam<int>
{
};

TEST_P(TimerModes, RunUntilTheyAreKilled)
{
    TimerCalls calls;
    const uintptr_t id = calls.set(1.0, 0, GetParam());
    calls.wait_for(3);
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([&] { EXPECT_EQ(test::wait(id), QV_OK); });
    EXPECT_EQ(test::kill(id), QV_OK);
    for (std::thread& waiter : waiters)
        waiter.join();
    const int count = calls.count();
    EXPECT_EQ(test::kill(id), QV_ERR_NULLPTR);
    // After the call of a later timer, no further one of this timer can come.
    EXPECT_EQ(TimerCalls().run(5.0, 1, GetParam()), 1);
    EXPECT_EQ(calls.count(), count);
}

TEST_P(TimerModes, MayBeKilledByTheirOwnCallWhichMayNotWait)
{
    TimerCalls calls;
    std::atomic<uintptr_t> id{0};
    calls.act = [&](int)
    {
        id.wait(0);
        EXPECT_EQ(test::kill(id), QV_OK);
        EXPECT_EQ(test::kill(id), QV_OK);
        EXPECT_EQ(test::wait(id), QV_ERR_BADARG);
        return 1;
    };
    id = calls.set(1.0, 0, GetParam());
    id.notify_all();
    EXPECT_EQ(test::wait(id), QV_OK);
    EXPECT_EQ(calls.count(), 1);
}

TEST_P(TimerModes, MaySetFurtherTimersInACallWhichMakeTheirsAndEnd)
{
    TimerCalls outer, inner;
    std::atomic<uintptr_t> id{0};
    outer.act = [&](int)
    {
        id = inner.set(1.0, 3, GetParam());
        return 0;
    };
    EXPECT_EQ(outer.run(1.0, 1, GetParam()), 1);
    ASSERT_NE(id, 0u);
    EXPECT_EQ(test::wait(id), QV_OK);
    EXPECT_EQ(inner.count(), 3);
}

TEST_P(TimerModes, ShowTheirSettingsWithinACallAndEndWithTheFirstThatAnswers0)
{
    TimerCalls calls;
    calls.act = [&](int number)
    {
        const QvTimerRecord* const record = QV_GetTimerRecord(0);
        EXPECT_EQ(record, test::record_of(record->uId));
        EXPECT_EQ(record->i64IntervalNs, 1'500'000);
        return number < 2;
    };
    const double before = QV_GetTimeCounter();
    EXPECT_EQ(calls.run(1.5, 100, GetParam(), 77), 2);
    EXPECT_EQ(calls.info.iPrecision, GetParam());
    EXPECT_EQ(calls.info.iCatchUpMode, 77);
    EXPECT_EQ(calls.info.iKind, GetParam() < QV_PRECISION_MM_20 ? 2 : 3);
    EXPECT_GE(calls.info.dStartTime, before);
    EXPECT_LE(calls.info.dStartTime, QV_GetTimeCounter());
    EXPECT_EQ(QV_GetTimerRecord(0), nullptr) << "no callback runs here";
}

INSTANTIATE_TEST_SUITE_P(All, TimerModes,
                         testing::Range<int>(QV_PRECISION_SLEEP, QV_PRECISION_MM_1_ALIGNED + 1));

TEST(ThreadedTimer, BelowAMillisecondSpinsOnAThreadWhateverWasAskedFor)
{
    for (const auto& [mode, interval] : {std::pair{int{QV_PRECISION_MM_1}, 0.5},
                                         {QV_PRECISION_SLEEP, 0.0},
                                         {QV_PRECISION_LATE_SPIN, -3.0}})
    {
        TimerCalls calls;
        EXPECT_EQ(calls.run(interval, 5, mode), 5);
        EXPECT_EQ(calls.info.iPrecision, QV_PRECISION_SPIN);
        EXPECT_EQ(calls.info.iKind, 2);
    }
}

TEST(ThreadedTimer, TakesIntervalsBeyondWhatTheSystemCarries)
{
    for (const int mode : {QV_PRECISION_SLEEP, QV_PRECISION_MM_10, QV_PRECISION_MM_1})
        for (const double interval : {1e7, 1e300})
        {
            TimerCalls calls;
            const uintptr_t id = calls.set(interval, 1, mode);
            ASSERT_NE(id, 0u);
            EXPECT_EQ(test::kill(id), QV_OK); // stays waiting for its tick
        }
}

TEST(ThreadedTimer, IsToldOfUnknownIdsAndRecords)
{
    EXPECT_EQ(QV_WaitForTimer(0xFFFFFFF0u), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_KillTimerAsync(0xFFFFFFF0u), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_GetTimerRecord(0xFFFFFFF0u), nullptr);
    QvTimerRecord record = {};
    QvTimerInfo info = {};
    EXPECT_EQ(QV_GetTimerInfo(nullptr, &info), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_GetTimerInfo(&record, &info), QV_ERR_NULLPTR) << "no kind";
    EXPECT_EQ(QV_GetTimerInfo(&record, nullptr), QV_ERR_NULLPTR);
}

uintptr_t set_posted(TimerCalls& calls, double milliseconds, int count)
{
    return QV_SetPostedTimer(TimerCalls::callback, &calls, milliseconds, count);
}

TEST(PostedTimer, CallsOutOfTheDispatchOfItsThreadUntilItsCallsAreUsedUp)
{
    TimerCalls calls;
    const std::thread::id self = std::this_thread::get_id();
    calls.act = [&](int) { return std::this_thread::get_id() == self; };
    const uintptr_t id = set_posted(calls, 0.5, 3);
    ASSERT_NE(id, 0u);
    EXPECT_LE(id, UINT32_MAX);
    EXPECT_EQ(test::wait(id), QV_ERR_BADARG);
    test::pump_until([&] { return calls.count() == 3; });
    EXPECT_EQ(test::kill(id), QV_ERR_NULLPTR) << "it has ended";
    EXPECT_EQ(calls.info.iKind, 4);
    EXPECT_EQ(calls.info.iPrecision, QV_PRECISION_POSTED) << "also below a millisecond";
    EXPECT_EQ(calls.info.iCatchUpMode, 1);
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

// Dispatches messages until a timer set now has fired twice: timers set before have had their turns
// then.
void pump_for_two_turns()
{
    TimerCalls other;
    set_posted(other, 25.0, 2);
    test::pump_until([&] { return other.count() == 2; });
}

TEST(PostedTimer, MayEndInACallWithinACall)
{
    for (const int wanted : {0, 2}) // the inner call returns 0, or is the last one
    {
        TimerCalls calls;
        uintptr_t id = 0;
        int started = 0;
        calls.act = [&](int)
        {
            if (++started > 1)
                return wanted;
            pump_for_two_turns();
            EXPECT_NE(test::record_of(id), nullptr) << "it lives until the outer call is through";
            return 1;
        };
        id = set_posted(calls, 10.0, wanted);
        test::pump_until([&] { return !test::record_of(id); });
        EXPECT_EQ(started, 2);
    }
}

TEST(PostedTimer, LeavesFloatingPointExceptionsMaskedWhateverItsCallDid)
{
    constexpr unsigned int all_masked = 0x8001F;
    TimerCalls calls;
    calls.act = [](int)
    {
        _controlfp(0, _EM_ZERODIVIDE | _EM_INVALID);
        return 1;
    };
    set_posted(calls, 10.0, 2);
    for (const int number : {1, 2}) // while the timer continues, and when it ends
    {
        test::pump_until([&] { return calls.count() == number; });
        EXPECT_EQ(_control87(0, 0) & all_masked, all_masked);
    }
}

} // namespace
