// Timers with a thread of their own and multimedia timers, as an application sees them.
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "timer_calls.h"

using test::TimerCalls;

namespace
{

class TimerModes : public testing::TestWithParam<int>
{
};

TEST_P(TimerModes, MakeTheirCallsAndEnd)
{
    TimerCalls calls;
    const uintptr_t id = calls.set(1.0, 3, GetParam());
    ASSERT_NE(id, 0u);
    EXPECT_EQ(test::wait(id), QV_OK);
    EXPECT_EQ(calls.count(), 3);
    EXPECT_EQ(test::wait(id), QV_OK) << "been and gone";
    EXPECT_EQ(test::kill(id), QV_ERR_NULLPTR);
    EXPECT_EQ(test::record_of(id), nullptr);
}

TEST_P(TimerModes, EndWithTheFirstCallThatAnswers0)
{
    TimerCalls calls;
    calls.act = [](int number) { return number < 2; };
    EXPECT_EQ(test::wait(calls.set(1.0, 100, GetParam())), QV_OK);
    EXPECT_EQ(calls.count(), 2);
}

TEST_P(TimerModes, RunUntilTheyAreKilledAndTakeASecondKill)
{
    TimerCalls calls;
    const uintptr_t id = calls.set(1.0, 0, GetParam());
    calls.wait_for(3);
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([&] { EXPECT_EQ(test::wait(id), QV_OK); });
    EXPECT_EQ(test::kill(id), QV_OK);
    const int second = test::kill(id);
    EXPECT_TRUE(second == QV_OK || second == QV_ERR_NULLPTR) << "it may have ended by now";
    for (std::thread& waiter : waiters)
        waiter.join();
    const int count = calls.count();
    EXPECT_EQ(test::kill(id), QV_ERR_NULLPTR);
    // A later timer's call shows that no further one of this timer comes.
    TimerCalls later;
    EXPECT_EQ(test::wait(later.set(5.0, 1, GetParam())), QV_OK);
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

TEST_P(TimerModes, MaySetFurtherTimersInACall)
{
    TimerCalls outer, inner;
    std::atomic<uintptr_t> id{0};
    outer.act = [&](int)
    {
        id = inner.set(1.0, 2, GetParam());
        return 0;
    };
    EXPECT_EQ(test::wait(outer.set(1.0, 1, GetParam())), QV_OK);
    ASSERT_NE(id, 0u);
    EXPECT_EQ(test::wait(id), QV_OK);
    EXPECT_EQ(inner.count(), 2);
}

TEST_P(TimerModes, ShowTheirSettingsWithinACall)
{
    TimerCalls calls;
    QvTimerInfo info = {};
    calls.act = [&](int)
    {
        const QvTimerRecord* const record = QV_GetTimerRecord(0);
        EXPECT_EQ(QV_GetTimerInfo(record, &info), QV_OK);
        EXPECT_EQ(record, test::record_of(record->uId));
        EXPECT_EQ(record->i64IntervalNs, 1'500'000);
        return 0;
    };
    const double before = QV_GetTimeCounter();
    EXPECT_EQ(test::wait(calls.set(1.5, 0, GetParam(), 77)), QV_OK);
    EXPECT_EQ(info.iPrecision, GetParam());
    EXPECT_EQ(info.iCatchUpMode, 77);
    EXPECT_EQ(info.iKind, GetParam() < QV_PRECISION_MM_20 ? 2 : 3);
    EXPECT_GE(info.dStartTime, before);
    EXPECT_LE(info.dStartTime, QV_GetTimeCounter());
    EXPECT_EQ(QV_GetTimerRecord(0), nullptr) << "no callback runs here";
}

INSTANTIATE_TEST_SUITE_P(All, TimerModes,
                         testing::Range<int>(QV_PRECISION_SLEEP, QV_PRECISION_MM_1_ALIGNED + 1));

TEST(ThreadedTimer, BelowAMillisecondSpinsOnAThreadWhateverWasAskedFor)
{
    for (const int mode : {QV_PRECISION_MM_1, QV_PRECISION_SLEEP, QV_PRECISION_LATE_SPIN})
        for (const double interval : {0.5, 0.0, -3.0})
        {
            TimerCalls calls;
            QvTimerInfo info = {};
            calls.act = [&](int) { return QV_GetTimerInfo(QV_GetTimerRecord(0), &info) == QV_OK; };
            EXPECT_EQ(test::wait(calls.set(interval, 5, mode, static_cast<int>(interval * 2))),
                      QV_OK);
            EXPECT_EQ(calls.count(), 5);
            EXPECT_EQ(info.iPrecision, QV_PRECISION_SPIN);
            EXPECT_EQ(info.iKind, 2);
        }
}

TEST(ThreadedTimer, RefusesWhatItCanNotCarryAndUsesUpNoId)
{
    TimerCalls calls;
    const uintptr_t first = calls.set(1.0, 1, QV_PRECISION_SLEEP);
    EXPECT_EQ(calls.set(1.0, -1, QV_PRECISION_SLEEP), 0u);
    for (const int mode : {0, 8, 10, -1})
        EXPECT_EQ(calls.set(1.0, 1, mode), 0u) << mode;
    EXPECT_EQ(QV_SetThreadedTimer(nullptr, nullptr, 1.0, 1, QV_PRECISION_SLEEP, 1), 0u);
    const uintptr_t second = calls.set(1.0, 1, QV_PRECISION_SLEEP);
    EXPECT_EQ(second, first + 1);
    EXPECT_EQ(test::wait(first), QV_OK);
    EXPECT_EQ(test::wait(second), QV_OK);
    EXPECT_EQ(calls.count(), 2);
}

TEST(ThreadedTimer, ToldOfIdsThatWereNeverGivenOut)
{
    EXPECT_EQ(QV_WaitForTimer(0), QV_OK) << "below every id";
    EXPECT_EQ(QV_WaitForTimer(0xFFFFFFF0u), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_KillTimerAsync(0), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_KillTimerAsync(0xFFFFFFF0u), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_GetTimerRecord(0xFFFFFFF0u), nullptr);
}

TEST(ThreadedTimer, TakesIntervalsBeyondWhatTheSystemCarries)
{
    for (const int mode : {QV_PRECISION_SLEEP, QV_PRECISION_MM_10, QV_PRECISION_MM_1})
        for (const double interval : {1e7, 1e300})
        {
            TimerCalls calls;
            const uintptr_t id = calls.set(interval, 1, mode);
            ASSERT_NE(id, 0u);
            EXPECT_EQ(test::kill(id), QV_OK); // waits for its tick: left running
        }
}

TEST(TimerInfo, NeedsARecordOfAKnownKindAndAPlace)
{
    QvTimerRecord record = {};
    QvTimerInfo info = {1.0, 2, 3, 4};
    EXPECT_EQ(QV_GetTimerInfo(nullptr, &info), QV_ERR_NULLPTR);
    EXPECT_EQ(info.iPrecision, 2) << "nothing is written";
    EXPECT_EQ(QV_GetTimerInfo(&record, nullptr), QV_ERR_NULLPTR);
    record.dStartTime = 5.0;
    record.iPrecision = 6;
    record.iCatchUpMode = 7;
    for (const int kind : {0, 4, -1})
    {
        record.iKind = kind;
        EXPECT_EQ(QV_GetTimerInfo(&record, &info), QV_ERR_NULLPTR);
        EXPECT_EQ(info.iKind, 0);
    }
    EXPECT_EQ(info.dStartTime, 5.0);
    EXPECT_EQ(info.iPrecision, 6);
    EXPECT_EQ(info.iCatchUpMode, 7);
    for (const int kind : {QV_TIMER_THREAD, QV_TIMER_MULTIMEDIA, QV_TIMER_POSTED})
    {
        record.iKind = kind;
        EXPECT_EQ(QV_GetTimerInfo(&record, &info), QV_OK);
        EXPECT_EQ(info.iKind, kind + 1);
    }
}

} // namespace
