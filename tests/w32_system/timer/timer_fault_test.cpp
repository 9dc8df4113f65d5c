// Refusals by the system, the texts of the reports, and the rules of time on a clock of the test's
// own.
#include <tuple>

#include "support/test.h"

#include "instead.h"
#include "support/processes.h"
#include "timer_calls.h"

using test::Instead;
using test::TimerCalls;
using Texts = std::vector<std::string>;

namespace
{

class TimerFaults : public testing::Test
{
protected:
    TimerFaults() { Instead::reset(); }
    ~TimerFaults() override
    {
        PlinthTestReset();
        Instead::reset();
    }

    // The next timer has the next id, so no id was used up in between.
    static void check_next(TimerCalls& calls, uintptr_t former)
    {
        const uintptr_t next = calls.set(1.0, 1, QV_PRECISION_SLEEP);
        EXPECT_EQ(next, former + 1);
        EXPECT_EQ(test::wait(former), QV_OK);
        EXPECT_EQ(test::wait(next), QV_OK);
        EXPECT_EQ(calls.count(), 2);
    }
    // The kind of a timer with two calls, as QV_GetTimerInfo reports it in a call; the timer has
    // ended.
    int kind_of(double milliseconds, int precision)
    {
        TimerCalls calls;
        EXPECT_EQ(calls.run(milliseconds, 2, precision), 2);
        EXPECT_EQ(calls.info.iPrecision, precision) << "the mode stays";
        return calls.info.iKind;
    }
};

TEST_F(TimerFaults, RefusalsSayWhyAndUseUpNoId)
{
    TimerCalls calls;
    const uintptr_t first = calls.set(1.0, 1, QV_PRECISION_SLEEP);
    EXPECT_EQ(calls.set(1.0, -1, QV_PRECISION_SLEEP), 0u);
    EXPECT_EQ(Instead::assertions(), Texts{"numCalls<0; Number of calls can not be negative"});
    for (const int mode : {0, int{QV_PRECISION_LATE_SPIN}})
    {
        EXPECT_EQ(calls.set(1.0, 1, mode), 0u) << mode;
        EXPECT_EQ(Instead::assertions(), Texts{"true; Wrong timer precision."});
    }
    EXPECT_EQ(QV_SetThreadedTimer(nullptr, nullptr, 1.0, 1, QV_PRECISION_SLEEP, 1), 0u);
    check_next(calls, first);
}

TEST_F(TimerFaults, WithoutTheSystemsTimerAThreadRunsInTheSameMode)
{
    PlinthTestFail("timeSetEvent", 1, 0, ERROR_NOT_ENOUGH_MEMORY);
    PlinthTestFail("SetTimer", 1, 0, ERROR_NOT_ENOUGH_MEMORY);
    const long events = Instead::events - Instead::closed_events;
    for (int mode = QV_PRECISION_MM_20; mode <= QV_PRECISION_MM_1_ALIGNED; ++mode)
        EXPECT_EQ(kind_of(1.0, mode), 2) << mode;
    EXPECT_EQ(kind_of(0.5, QV_PRECISION_POSTED), 2);
    EXPECT_EQ(Instead::events - Instead::closed_events, events) << "the events went unused";
}

TEST_F(TimerFaults, WithoutAThreadTheFailureIsTracedAndUsesUpNoId)
{
    TimerCalls calls;
    const uintptr_t before = calls.set(1.0, 1, QV_PRECISION_SLEEP);
    PlinthTestFail("timeSetEvent", 1, 0, ERROR_NOT_ENOUGH_MEMORY);
    for (const int mode : {QV_PRECISION_SPIN, QV_PRECISION_MM_1})
    {
        Instead::no_thread = true;
        EXPECT_EQ(calls.set(1.0, 1, mode), 0u);
        EXPECT_EQ(Instead::traces(), Texts{"Insufficient resources for creating the thread."});
    }
    check_next(calls, before);
}

TEST_F(TimerFaults, WithoutAnEventATimerRunsAndAWaitSaysThatItCanNot)
{
    PlinthTestFail("CreateEvent", 1, 0, ERROR_NOT_ENOUGH_MEMORY);
    TimerCalls calls;
    const uintptr_t id = calls.set(1.0, 0, QV_PRECISION_MM_1);
    EXPECT_EQ(test::wait(id), QV_OK);
    EXPECT_EQ(Instead::traces(),
              Texts{"Cannot wait for time, its waitable object failed to be initialized."});
    calls.wait_for(2);
    EXPECT_EQ(test::kill(id), QV_OK);
    while (test::record_of(id)) // the timer's thread removes it
        Sleep(0);
}

TEST_F(TimerFaults, AMultimediaTimerIsAskedForWholeMillisecondsAndItsResolution)
{
    using Asked = std::vector<UINT>;
    Instead::multimedia.capture = true;
    Instead::multimedia.id = 9;
    for (const auto& [mode, wanted, asked] :
         {std::tuple{int{QV_PRECISION_MM_20}, 1, Asked{2, 20, TIME_ONESHOT}},
          {QV_PRECISION_MM_1, 3, Asked{2, 1, TIME_PERIODIC}}})
    {
        TimerCalls calls;
        calls.set(2.7, wanted, mode);
        EXPECT_EQ(Instead::multimedia.asked, asked);
        Instead::multimedia.killed = 0;
        for (int i = 0; i < wanted; ++i)
            Instead::multimedia.fire();
        EXPECT_EQ(calls.count(), wanted);
        EXPECT_EQ(Instead::multimedia.killed, 9u) << "the id that the system passes";
    }
}

TEST_F(TimerFaults, AnAlignedFiringWaitsForTheNextMultipleIfThatIsNear)
{
    Instead::multimedia.capture = true;
    Instead::multimedia.id = 1;
    Instead::clock = 100.0;
    TimerCalls calls;
    std::vector<double> times;
    calls.act = [&](int)
    {
        times.push_back(Instead::clock);
        return 1;
    };
    calls.set(2.5, 4, QV_PRECISION_MM_1_ALIGNED);
    Instead::clock_step = 0.125;
    for (const double fired : {102.0,  // early for the first multiple, 102.5
                               103.5,  // 1.0 after the last: continues at once
                               105.75, // early for 106.0
                               120.0}) // many later, early for the sixth, 121.0
    {
        Instead::clock = fired;
        Instead::multimedia.fire();
    }
    // Each is the reading that ended the spin, or the only one, plus one step of the clock.
    EXPECT_EQ(times, (std::vector<double>{102.625, 103.625, 106.125, 121.125}));
}

TEST_F(TimerFaults, AnIdOfTheSystemThatMeetsAnotherTimersIsDrawnAgain)
{
    TimerCalls other, calls;
    const uintptr_t taken = other.set(60'000.0, 1, QV_PRECISION_MM_1);
    Instead::message.ids = {taken, taken, 4711};
    const uintptr_t id = QV_SetPostedTimer(TimerCalls::callback, &calls, 12.9, 2);
    EXPECT_EQ(id, 4711u);
    EXPECT_EQ(Instead::message.killed, (std::vector<UINT_PTR>{taken, taken})) << "given back";
    Instead::message.procedure(nullptr, WM_TIMER, taken, 0);
    EXPECT_EQ(other.count(), 0) << "a message for an id of another kind calls nobody";
    for (int i = 0; i < 3; ++i) // the last one comes after the end
        Instead::message.procedure(nullptr, WM_TIMER, id, 0);
    EXPECT_EQ(calls.count(), 2);
    EXPECT_EQ(Instead::message.killed.back(), id);
    // If no id can be used, a thread runs the timer: after a failure, and for ids beyond 32 bits.
    for (const std::vector<UINT_PTR>& ids : {std::vector<UINT_PTR>{taken, 0}, {UINT_PTR{1} << 32}})
    {
        Instead::message = {};
        Instead::message.ids = ids;
        EXPECT_EQ(kind_of(1.0, QV_PRECISION_POSTED), 2);
        EXPECT_EQ(Instead::message.killed, std::vector<UINT_PTR>{ids[0]}) << "given back";
    }
    test::kill(taken);
}

// The times of the calls of a 10 ms timer, on a clock that only its waits and calls advance.
std::vector<double> moments(int catch_up, int calls_wanted, double first_call_ends)
{
    Instead::clock = 0.0;
    TimerCalls calls;
    std::vector<double> times;
    calls.act = [&](int number)
    {
        times.push_back(Instead::clock);
        if (number == 1)
            Instead::clock = first_call_ends;
        return 1;
    };
    calls.run(10.0, calls_wanted, QV_PRECISION_SPIN, catch_up);
    return times;
}

TEST_F(TimerFaults, TicksMissedByATimerThreadAreDroppedUncountedOrMadeUpFor)
{
    EXPECT_EQ(moments(1, 4, 45.0), (std::vector<double>{10, 50, 60, 70}));
    EXPECT_EQ(moments(0, 6, 45.0), (std::vector<double>{10, 45, 45, 45, 50, 60}));
    EXPECT_EQ(moments(0, 3, 12.0), (std::vector<double>{10, 20, 30})) << "no drift";
}

// The process ends while timers of every kind run, whose callbacks use the library.
int end_with_timers(int, char**)
{
    static std::atomic<int> calls{0};
    const auto busy = [](void*)
    {
        QV_Log(L"x\r\n");
        TimerCalls().run(0.1, 1, QV_PRECISION_SPIN);
        ++calls;
        calls.notify_all();
        return 1;
    };
    for (int mode = QV_PRECISION_SLEEP; mode <= QV_PRECISION_MM_1_ALIGNED; ++mode)
        for (int i = 0; i < 3; ++i)
            QV_SetThreadedTimer(busy, nullptr, mode == QV_PRECISION_SPIN ? 0.3 : 1.0, 0, mode, i);
    for (int now; (now = calls) < 50;)
        calls.wait(now);
    std::exit(0);
}
const test::ChildMain end_with_timers_main("end-with-timers", end_with_timers);

TEST_F(TimerFaults, TimersThatRunWhileTheProcessEndsDoNoHarm)
{
    // Without two checks: one would stop these threads one by one at any point of the exit, and the
    // other would report threads that were about to be joined.
    for (const auto& [name, more] : {std::pair{"ASAN_OPTIONS", ":detect_leaks=0"},
                                     std::pair{"TSAN_OPTIONS", ":report_thread_leaks=0"}})
        setenv(name, (std::string(getenv(name) ? getenv(name) : "") + more).c_str(), 1);
    for (int i = 0; i < 5; ++i)
        ASSERT_EQ(test::Process::child("end-with-timers").wait(), 0);
}

} // namespace
