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

// Counts and records the calls of its timers.
struct Calls
{
    std::atomic<int> count{0};
    std::atomic<DWORD> thread{0};
    std::counting_semaphore<> happened{0};
    std::vector<MMRESULT> timers; // the destructor kills them all

    Calls() = default;
    Calls(const Calls&) = delete;
    Calls& operator=(const Calls&) = delete;
    static void CALLBACK run(UINT, UINT, DWORD_PTR user, DWORD_PTR, DWORD_PTR)
    {
        auto& self = *reinterpret_cast<Calls*>(user);
        self.thread = GetCurrentThreadId();
        ++self.count;
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
    for (const UINT outside : {0u, caps.wPeriodMax + 1})
        EXPECT_EQ(timeBeginPeriod(outside), TIMERR_NOCANDO);
    EXPECT_EQ(timeBeginPeriod(1), TIMERR_NOERROR);
    EXPECT_EQ(timeEndPeriod(1), TIMERR_NOERROR);
    EXPECT_EQ(timeEndPeriod(1), TIMERR_NOCANDO) << "never begun";
    EXPECT_EQ(timeGetDevCaps(&caps, 4), TIMERR_NOCANDO);
}

TEST(TimerEvents, FireOnceOrAgainAndAgainOnOneThreadOfTheSystem)
{
    Calls once, periodic, late;
    const int64_t start = now_ns();
    late.set(1'000'000, TIME_ONESHOT); // must not delay the earlier ones
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
            Sleep(20); // long enough that a kill that didn't wait would return first
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

TEST(TimerEvents, TicksMissedByALongCallAreDroppedIfTheyLieFarBack)
{
    struct Slow
    {
        std::atomic<int64_t> left{0}; // when the first call returned
        std::atomic<int> count{0};
        static void CALLBACK run(UINT, UINT, DWORD_PTR user, DWORD_PTR, DWORD_PTR)
        {
            auto& self = *reinterpret_cast<Slow*>(user);
            if (self.count == 0)
            {
                Sleep(400); // the test is about this length
                self.left = now_ns();
            }
            ++self.count;
            self.count.notify_all();
        }
    } slow;
    const MMRESULT id = timeSetEvent(1, 0, Slow::run, reinterpret_cast<DWORD_PTR>(&slow),
                                     TIME_PERIODIC | TIME_KILL_SYNCHRONOUS);
    for (int now; (now = slow.count) < 150;)
        slow.count.wait(now);
    EXPECT_GE(now_ns() - slow.left, 140'000'000);
    timeKillEvent(id);
}

TEST(TimerEvents, WithoutMemoryOrOfAWrongLengthAreRefusedAndLeaveNothingToFire)
{
    Calls calls;
    for (const UINT length : {0u, 1'000'001u})
        EXPECT_EQ(calls.set(length, TIME_ONESHOT), 0u);
    EXPECT_EQ(timeKillEvent(0), MMSYSERR_INVALPARAM);
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

TEST(TimerEvents, WithoutMemoryAreRefusedAndLeaveNothingToFire)
{
    Calls calls;
    calls.timers.reserve(100);
    // The first round also needs memory for the thread; the second for the due time and the event.
    for (int round = 1; round <= 2; ++round)
    {
        unsigned nth = 0;
        for (MMRESULT id = 0; id == 0; test::t_failing_allocation = 0)
        {
            test::t_failing_allocation = ++nth;
            id = calls.set(1, TIME_ONESHOT);
        }
        EXPECT_GT(nth, 2u) << "round " << round;
        calls.wait(1);
        EXPECT_EQ(calls.count, round);
    }
}

} // namespace
