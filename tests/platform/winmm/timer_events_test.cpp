// The multimedia clock and its timers.
#include <semaphore>

#include "support/test.h"

#include <mmsystem.h>

#include "support/scarce_memory.h"

namespace
{

int64_t now_ns()
{
    LARGE_INTEGER count;
    QueryPerformanceCounter(&count);
    return count.QuadPart;
}

// What a timer's calls leave behind, and what they do.
struct Calls
{
    std::atomic<int> count{0};
    std::atomic<DWORD> thread{0};
    std::atomic<int> kill_at{0}; // the call that kills its own timer; 0: none
    std::atomic<MMRESULT> kill_result{0};
    std::counting_semaphore<> happened{0};
    std::vector<MMRESULT> timers; // none fires any more when this object goes

    Calls() = default;
    Calls(const Calls&) = delete;
    Calls& operator=(const Calls&) = delete;
    static void CALLBACK run(UINT id, UINT, DWORD_PTR user, DWORD_PTR, DWORD_PTR)
    {
        auto& self = *reinterpret_cast<Calls*>(user);
        self.thread = GetCurrentThreadId();
        const int number = ++self.count;
        if (number == self.kill_at)
            self.kill_result = timeKillEvent(id);
        self.happened.release();
    }
    MMRESULT set(UINT delay, UINT flags)
    {
        const MMRESULT id = timeSetEvent(delay, 0, run, reinterpret_cast<DWORD_PTR>(this),
                                         flags | TIME_KILL_SYNCHRONOUS);
        timers.push_back(id);
        return id;
    }
    ~Calls() { std::ranges::for_each(timers, timeKillEvent); }
    void wait(int calls)
    {
        for (int i = 0; i < calls; ++i)
            happened.acquire();
    }
};

TEST(MultimediaTime, PeriodsAreBegunWithinTheDevicesRangeAndEndedAsOften)
{
    PlinthTestSetTick(0xFFFFFFF0u);
    EXPECT_EQ(timeGetTime(), 0xFFFFFFF0u);
    PlinthTestReset();
    TIMECAPS caps = {};
    ASSERT_EQ(timeGetDevCaps(&caps, sizeof caps), TIMERR_NOERROR);
    EXPECT_EQ(caps.wPeriodMin, 1u);
    EXPECT_EQ(caps.wPeriodMax, 1'000'000u);
    for (const UINT outside : {0u, caps.wPeriodMax + 1})
        EXPECT_EQ(timeBeginPeriod(outside), TIMERR_NOCANDO);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(timeBeginPeriod(1), TIMERR_NOERROR);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(timeEndPeriod(1), TIMERR_NOERROR);
    EXPECT_EQ(timeEndPeriod(1), TIMERR_NOCANDO) << "never begun";
    EXPECT_EQ(timeGetDevCaps(nullptr, sizeof caps), TIMERR_NOCANDO);
    EXPECT_EQ(timeGetDevCaps(&caps, 4), TIMERR_NOCANDO);
    PlinthTestFail("timeGetDevCaps", 1, 1, 1);
    EXPECT_EQ(timeGetDevCaps(&caps, sizeof caps), TIMERR_NOCANDO);
    PlinthTestReset();
}

TEST(TimerEvents, FireOnceOrAgainAndAgainOnOneThreadOfTheSystem)
{
    Calls once, periodic, late;
    const int64_t start = now_ns();
    late.set(1'000'000, TIME_ONESHOT); // holds the earlier ones up no longer than they ask for
    once.set(3, TIME_ONESHOT);
    periodic.set(2, TIME_PERIODIC);
    once.wait(1);
    EXPECT_GE(now_ns() - start, 3'000'000);
    periodic.wait(10);
    EXPECT_GE(now_ns() - start, 20'000'000) << "the tenth is due after ten periods";
    EXPECT_EQ(once.count, 1);
    EXPECT_EQ(once.thread, periodic.thread);
    EXPECT_NE(once.thread, GetCurrentThreadId());
}

TEST(TimerEvents, MayBeKilledByTheirOwnCall)
{
    Calls calls;
    calls.kill_at = 3;
    const MMRESULT id = calls.set(1, TIME_PERIODIC);
    calls.wait(3);
    // A later timer's call shows that the thread has been past all that was due.
    Calls fence;
    fence.set(3, TIME_ONESHOT);
    fence.wait(1);
    EXPECT_EQ(calls.count, 3);
    EXPECT_EQ(calls.kill_result, TIMERR_NOERROR);
    EXPECT_EQ(timeKillEvent(id), MMSYSERR_INVALPARAM);
}

TEST(TimerEvents, ASynchronousKillWaitsForTheCallUnderWay)
{
    struct Held
    {
        std::binary_semaphore entered{0};
        std::binary_semaphore killing{0};
        std::atomic<bool> left{false};
        static void CALLBACK run(UINT, UINT, DWORD_PTR user, DWORD_PTR, DWORD_PTR)
        {
            auto& self = *reinterpret_cast<Held*>(user);
            self.entered.release();
            self.killing.acquire();
            Sleep(20); // a call at work: time enough for a kill that wouldn't wait
            self.left = true;
        }
    } held;
    const MMRESULT id = timeSetEvent(1, 0, Held::run, reinterpret_cast<DWORD_PTR>(&held),
                                     TIME_ONESHOT | TIME_KILL_SYNCHRONOUS);
    held.entered.acquire();
    held.killing.release();
    EXPECT_EQ(timeKillEvent(id), TIMERR_NOERROR);
    EXPECT_TRUE(held.left);
}

// A timer of 1 ms whose first call is long.
struct SlowStart
{
    explicit SlowStart(int64_t first_call) : length(first_call)
    {
        id = timeSetEvent(1, 0, run, reinterpret_cast<DWORD_PTR>(this),
                          TIME_PERIODIC | TIME_KILL_SYNCHRONOUS);
    }
    ~SlowStart() { timeKillEvent(id); }

    static void CALLBACK run(UINT, UINT, DWORD_PTR user, DWORD_PTR, DWORD_PTR)
    {
        auto& self = *reinterpret_cast<SlowStart*>(user);
        if (self.count == 0)
        {
            self.entered = now_ns();
            while (now_ns() < self.entered + self.length) // its length is what is under test
                Sleep(1);
        }
        ++self.count;
        self.count.notify_all();
    }

    const int64_t length; // ns
    const int64_t start = now_ns();
    std::atomic<int64_t> entered{0};
    std::atomic<int> count{0};
    MMRESULT id;
};

// A machine that is too busy may hold the thread up for longer than is made up for: several tries.
TEST(TimerEvents, TicksMissedByALittleAreMadeUpFor)
{
    bool caught_up = false;
    for (int i = 0; i < 50 && !caught_up; ++i)
    {
        SlowStart timer(50'000'000);
        while (!caught_up && now_ns() < timer.start + 200'000'000)
            caught_up =
                timer.count >= 60 && timer.count >= (now_ns() - timer.start) / 1'000'000 - 2;
    }
    EXPECT_TRUE(caught_up);
}

TEST(TimerEvents, TicksThatLieFarBackAreDropped)
{
    SlowStart timer(400'000'000);
    for (int now; (now = timer.count) < 150;)
        timer.count.wait(now);
    EXPECT_GE(now_ns() - timer.entered, 400'000'000 + 140'000'000);
}

TEST(TimerEvents, RefuseWhatTheyCanNotDo)
{
    Calls calls;
    EXPECT_EQ(calls.set(0, TIME_ONESHOT), 0u);
    EXPECT_EQ(calls.set(1'000'001, TIME_ONESHOT), 0u);
    EXPECT_EQ(timeSetEvent(1, 0, nullptr, 0, TIME_ONESHOT), 0u);
    EXPECT_EQ(timeKillEvent(0), MMSYSERR_INVALPARAM);
    PlinthTestFail("timeSetEvent", 1, 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(calls.set(1, TIME_ONESHOT), 0u);
    PlinthTestReset();
}

// In a process of its own, whose timer thread was not needed yet.
TEST(TimerEvents, WithoutAThreadAreRefusedAndComeWithTheNextOne)
{
    Calls calls;
    PlinthTestFail("pthread_create", 1, 1, EAGAIN);
    const MMRESULT refused = calls.set(1, TIME_ONESHOT);
    const bool was_needed = PlinthTestCalls("pthread_create") != 0;
    PlinthTestReset();
    if (!was_needed)
        GTEST_SKIP() << "another test of this process has started the thread";
    EXPECT_EQ(refused, 0u);
    EXPECT_NE(calls.set(1, TIME_ONESHOT), 0u);
    calls.wait(1);
}

TEST(TimerEvents, WithoutMemoryAreRefusedAndLeaveNothingToFire)
{
    Calls calls;
    calls.timers.reserve(100);
    unsigned nth = 0;
    for (MMRESULT id = 0; id == 0; test::t_failing_allocation = 0)
    {
        test::t_failing_allocation = ++nth;
        id = calls.set(1, TIME_ONESHOT);
    }
    EXPECT_GT(nth, 2u) << "the moment and the event each need memory";
    calls.wait(1);
    EXPECT_EQ(calls.count, 1);
}

TEST(TimerEventsConcurrent, SettingAndKillingFromManyThreadsLosesNothing)
{
    std::vector<std::jthread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back(
            []
            {
                for (int k = 0; k < 100; ++k)
                {
                    Calls once, periodic;
                    ASSERT_NE(once.set(1, TIME_ONESHOT), 0u);
                    const MMRESULT id = periodic.set(1, TIME_PERIODIC);
                    ASSERT_NE(id, 0u);
                    once.wait(1);
                    periodic.wait(k % 3);
                    EXPECT_EQ(timeKillEvent(id), TIMERR_NOERROR);
                    EXPECT_EQ(once.count, 1);
                }
            });
}

} // namespace
