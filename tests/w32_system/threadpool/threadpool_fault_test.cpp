// The pool's time-outs and failures. This program's own definitions replace the functions that the
// library calls: they come first in the search for symbols.
#include "support/scarce_memory.h"
#include "support/test.h"

#include <plinth_w32_pthreadVC.h>
#include <tchar.h>

#include "calls.h"
#include "support/instead.h"
#include "support/wide_text.h"

namespace
{

std::atomic<int> g_create_error{0};
std::atomic<double> g_counter_shift{0};

struct Wait
{
    std::thread::id thread;
    long long seconds; // from the calendar's whole second to the deadline
    long nanoseconds;
};

std::atomic<int> g_timed_result{-1}; // the result of a timed wait; -1: its real one

std::mutex g_mutex; // guards everything below
std::condition_variable g_changed;
std::vector<Wait> g_waits; // timed waits with a mutex of the pool
std::vector<std::string> g_assertions;

std::vector<std::string> reported()
{
    const std::lock_guard lock(g_mutex);
    return std::exchange(g_assertions, {});
}

// Waits until the test's n-th timed wait, counted from 1, has begun, and returns it.
Wait nth_wait(size_t n)
{
    std::unique_lock lock(g_mutex);
    g_changed.wait(lock, [&] { return g_waits.size() >= n; });
    return g_waits[n - 1];
}

} // namespace

TEST_INSTEAD int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                void* (*start)(void*), void* argument)
{
    if (const int error = g_create_error.exchange(0))
        return error;
    return TEST_REAL(pthread_create)(thread, attributes, start, argument);
}

TEST_INSTEAD int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                        const timespec* deadline)
{
    {
        const std::lock_guard lock(g_mutex);
        g_waits.push_back({std::this_thread::get_id(),
                           deadline->tv_sec - static_cast<long long>(_time64(nullptr)),
                           deadline->tv_nsec});
        g_changed.notify_all();
    }
    const int result = TEST_REAL(pthread_cond_timedwait)(condition, mutex, deadline);
    return g_timed_result >= 0 ? g_timed_result.load() : result;
}

TEST_INSTEAD double QV_GetTimeCounter()
{
    return TEST_REAL(QV_GetTimeCounter)() + g_counter_shift;
}

TEST_INSTEAD int DiagAssertW(unsigned, const wchar_t* expression, const wchar_t*, const char*, int)
{
    const std::lock_guard lock(g_mutex);
    g_assertions.push_back(test::utf8(expression));
    return 1;
}

namespace
{

class ThreadPoolTimes : public testing::Test
{
protected:
    ~ThreadPoolTimes() override
    {
        PlinthTestReset();
        g_timed_result = -1;
        CThreadPool::DestroyThreadPool(pool);
    }

    // Three calls that overlap and end one after the other, so that the first thread waits longest.
    void three_idle_workers()
    {
        test::HeldCall a(pool), b(pool), c(pool);
        idle = {a.thread(), b.thread(), c.thread()};
        a.finish();
        EXPECT_EQ(nth_wait(1).thread, idle[0]);
        b.finish();
        EXPECT_EQ(nth_wait(2).thread, idle[1]);
        if (third_times_out)
            PlinthTestShiftWallClock(-17'000);
        c.finish();
        for (size_t i = 0; i < 3; ++i)
        {
            const long long longest[] = {60, 30, 15};
            const Wait wait = nth_wait(i + 1);
            EXPECT_LE(wait.seconds, longest[i]);
            EXPECT_GE(wait.seconds, longest[i] - 1);
            EXPECT_EQ(wait.nanoseconds, 0);
        }
        if (third_times_out)
            test::ThreadEnds::wait_for(1);
        PlinthTestShiftWallClock(0);
    }

    CThreadPool* const pool = CThreadPool::CreateThreadPool();
    std::vector<std::thread::id> idle;
    bool third_times_out = false;
};

TEST_F(ThreadPoolTimes, ALoneIdleWorkerEndsAndTheNextCallHasANewOne)
{
    PlinthTestShiftWallClock(-62'000);
    test::HeldCall(pool).finish();
    test::ThreadEnds::wait_for(1);
    PlinthTestShiftWallClock(0);
    EXPECT_EQ(test::HeldCall(pool).status(), QV_OK);
    EXPECT_EQ(test::ThreadEnds::count, 1);
}

TEST_F(ThreadPoolTimes, TheWorkerWithTheMostTimeLeftTakesTheCall)
{
    third_times_out = true;
    three_idle_workers();
    test::HeldCall first(pool), second(pool);
    EXPECT_EQ(first.thread(), idle[0]);
    EXPECT_EQ(second.thread(), idle[1]);
    // It gets the longest wait again, since no other worker has that one now.
    first.finish();
    EXPECT_GE(nth_wait(4).seconds, 59);
}

TEST_F(ThreadPoolTimes, WithNoTimeLeftTheLastThatWaitsTakesTheCall)
{
    three_idle_workers();
    g_counter_shift = 61'000;
    EXPECT_EQ(test::HeldCall(pool).thread(), idle[2]);
    g_counter_shift = 0;
}

TEST_F(ThreadPoolTimes, AWorkerThatRanOutOfTimeTakesTheCallThatCameMeanwhile)
{
    const std::thread::id thread = test::HeldCall(pool).thread();
    nth_wait(1);
    g_timed_result = ETIMEDOUT; // although it is signalled
    EXPECT_EQ(test::HeldCall(pool).thread(), thread);
}

TEST_F(ThreadPoolTimes, AWaitThatFailsIsReportedAndEndsTheWorker)
{
    g_timed_result = EINVAL;
    PlinthTestShiftWallClock(-62'000);
    test::HeldCall(pool).finish();
    test::ThreadEnds::wait_for(1);
    EXPECT_EQ(reported(), std::vector<std::string>{"true"});
}

TEST_F(ThreadPoolTimes, WithoutAThreadTheCallFailsAndThePoolLives)
{
    const test::HeldCall busy(pool); // so that no thread waits
    g_create_error = EAGAIN;
    EXPECT_EQ(test::HeldCall(pool).status(), QV_ERR_SYSTEM);
    EXPECT_EQ(test::HeldCall(pool).status(), QV_OK);
}

TEST_F(ThreadPoolTimes, WithoutMemoryThereIsNoPoolAndACallFailsAlone)
{
    test::t_allocations_fail = true;
    CThreadPool* const none = CThreadPool::CreateThreadPool();
    const test::HeldCall call(pool);
    test::t_allocations_fail = false;
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(call.status(), QV_ERR_SYSTEM);
    EXPECT_EQ(test::HeldCall(pool).status(), QV_OK) << "the pool lives";
}

TEST(ThreadPoolEnd, ANullPoolIsRefusedAndOneWithoutThreadsEndsAtOnce)
{
    CThreadPool::DestroyThreadPool(CThreadPool::CreateThreadPool());
    EXPECT_EQ(reported(), std::vector<std::string>{});
    CThreadPool::DestroyThreadPool(nullptr);
    EXPECT_EQ(reported(), std::vector<std::string>{"!pPool"});
}

} // namespace
