// The pool's time-outs and failures. This program stands between the library and the functions
// that it calls: its own definitions of them come first in the search for symbols.
#include <deque>
#include <new>
#include <optional>
#include <tuple>

#include "support/scarce_memory.h"
#include "support/test.h"

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

std::atomic<int> g_timed_result{-1}; // what a timed wait reports instead, -1: its own result

std::mutex g_mutex; // guards all below
std::condition_variable g_changed;
std::vector<Wait> g_waits; // those in timedwait with a mutex of the pool
std::vector<std::string> g_assertions;

// The function whose n-th call reports a failure, although it has done its work: the pool must go
// on as if it had not failed, and tell.
// Only calls of threads that are watched count.
std::atomic<const char*> g_failing{nullptr};
std::atomic<int> g_failing_call{0};
std::atomic<bool> g_all_watched{false};
thread_local bool t_watched = false;

int outcome(const char* name, int result)
{
    const char* const failing = g_failing;
    if (!failing || !(t_watched || g_all_watched) || std::strcmp(failing, name) != 0 ||
        --g_failing_call != 0)
        return result;
    errno = EINVAL;
    return std::strncmp(name, "sem_", 4) == 0 ? -1 : EINVAL;
}

std::vector<std::string> reported()
{
    const std::lock_guard lock(g_mutex);
    return std::exchange(g_assertions, {});
}

// Waits until the n-th timed wait of the test, counted from 1, has been entered, and gives it.
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

// Defines a function of the threads module that does its work and may report a failure.
#define WATCHED(name, throwing, parameters, arguments)                                             \
    TEST_INSTEAD int name parameters throwing                                                      \
    {                                                                                              \
        static auto* const function = TEST_REAL(name);                                             \
        return outcome(#name, function arguments);                                                 \
    }

WATCHED(pthread_mutex_init, noexcept,
        (pthread_mutex_t * mutex, const pthread_mutexattr_t* attributes), (mutex, attributes))
WATCHED(pthread_mutex_destroy, noexcept, (pthread_mutex_t * mutex), (mutex))
WATCHED(pthread_mutex_lock, noexcept, (pthread_mutex_t * mutex), (mutex))
WATCHED(pthread_mutex_unlock, noexcept, (pthread_mutex_t * mutex), (mutex))
WATCHED(pthread_cond_init, noexcept,
        (pthread_cond_t * condition, const pthread_condattr_t* attributes), (condition, attributes))
WATCHED(pthread_cond_destroy, noexcept, (pthread_cond_t * condition), (condition))
WATCHED(pthread_cond_signal, noexcept, (pthread_cond_t * condition), (condition))
WATCHED(pthread_cond_wait, , (pthread_cond_t * condition, pthread_mutex_t* mutex),
        (condition, mutex))
WATCHED(pthread_detach, noexcept, (pthread_t thread), (thread))
WATCHED(sem_init, noexcept, (sem_t * semaphore, int shared, unsigned value),
        (semaphore, shared, value))
WATCHED(sem_destroy, noexcept, (sem_t * semaphore), (semaphore))
WATCHED(sem_post, noexcept, (sem_t * semaphore), (semaphore))
WATCHED(sem_wait, , (sem_t * semaphore), (semaphore))

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
    ThreadPoolTimes() { g_waits.reserve(10000); }
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
    // It comes back to the longest wait while nobody else has that.
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

TEST_F(ThreadPoolTimes, WithoutMemoryForAnotherWorkerTheCallFailsAndThePoolLives)
{
    std::deque<test::HeldCall> busy;
    bool failed = false;
    for (int i = 0; i < 40; ++i)
    {
        {
            std::optional<test::HeldCall> call;
            test::t_allocations_fail = true;
            call.emplace(pool);
            test::t_allocations_fail = false;
            failed |= call->status() != QV_OK;
            EXPECT_TRUE(call->status() == QV_OK || call->status() == QV_ERR_SYSTEM);
        }
        EXPECT_EQ(busy.emplace_back(pool).status(), QV_OK);
    }
    EXPECT_TRUE(failed);
    test::t_allocations_fail = true;
    CThreadPool* const none = CThreadPool::CreateThreadPool();
    test::t_allocations_fail = false;
    EXPECT_EQ(none, nullptr);
}

TEST_F(ThreadPoolTimes, ACallToAWaitingThreadAllocatesNothing)
{
    std::atomic<int> runs{0};
    const auto call = [](void* count) -> void*
    {
        ++*static_cast<std::atomic<int>*>(count);
        return nullptr;
    };
    int before = 0;
    for (size_t i = 1; i <= 100; ++i)
    {
        ASSERT_EQ(pool->MakeCallFromThreadPool(call, &runs), QV_OK);
        nth_wait(i);
        before = i == 1 ? test::g_allocations.load() : before;
    }
    EXPECT_EQ(test::g_allocations, before);
    EXPECT_EQ(runs, 100);
}

// From when on calls count: the test's own locks and conditions come in between.
enum class Part
{
    life,      // of the pool, in all threads
    hand_over, // of the first call, in its caller
    end,       // of the pool, in all threads
};

// The life of a pool with one worker that takes two calls, the second out of its wait.
TEST(ThreadPoolFaults, CallsThatFailAreReportedAndThePoolGoesOn)
{
    const auto [life, hand_over, end] = std::tuple(Part::life, Part::hand_over, Part::end);
    // The function, and what is in the report of each of its calls. Of the two conditions, the
    // worker's own and the pool's, either may be destroyed first.
    const std::tuple<const char*, std::vector<const char*>, Part> rows[] = {
        {"pthread_mutex_init", {"m_PoolMutex", "m_ThreadMutex"}, life},
        {"pthread_cond_init", {"m_FinishSignal", "m_Signal"}, life},
        {"sem_init", {"m_CtxSem"}, life},
        {"sem_wait", {"m_CtxSem"}, life},
        {"sem_post", {"m_CtxSem", "m_CtxSem"}, life},
        {"pthread_detach", {"thread"}, life},
        {"pthread_cond_signal", {"pSignal", "pSignal", "pSignal"}, life},
        {"pthread_cond_wait", {"m_FinishSignal, &m_ThreadMutex"}, end},
        {"pthread_cond_destroy", {"m_", "m_"}, end},
        {"pthread_mutex_lock", {"m_PoolMutex", "m_ThreadMutex"}, hand_over},
        {"pthread_mutex_unlock", {"m_ThreadMutex", "m_PoolMutex"}, hand_over},
        {"sem_destroy", {"m_CtxSem"}, life},
        {"pthread_mutex_destroy", {"m_ThreadMutex", "m_PoolMutex"}, life}};
    g_waits.reserve(100);
    int ended = test::ThreadEnds::count;
    for (const auto& [function, texts, part] : rows)
        for (size_t call = 1; call <= texts.size(); ++call)
        {
            SCOPED_TRACE(testing::Message() << function << " " << call);
            g_waits.clear();
            g_failing_call = static_cast<int>(call);
            g_failing = function;
            g_all_watched = part == Part::life;
            CThreadPool* const pool = CThreadPool::CreateThreadPool();
            t_watched = part == Part::hand_over;
            {
                test::HeldCall first(pool);
                t_watched = false;
                EXPECT_EQ(first.status(), QV_OK);
            }
            nth_wait(1);
            EXPECT_EQ(test::HeldCall(pool).status(), QV_OK);
            nth_wait(2);
            g_all_watched = part != Part::hand_over;
            CThreadPool::DestroyThreadPool(pool);
            test::ThreadEnds::wait_for(++ended);
            g_failing = nullptr;
            const std::vector<std::string> reports = reported();
            ASSERT_EQ(reports.size(), 1u);
            EXPECT_EQ(reports[0].find(function), 0u) << reports[0];
            EXPECT_NE(reports[0].find(texts[call - 1]), std::string::npos) << reports[0];
        }
}

TEST(ThreadPoolFaults, ANullPoolIsRefusedAndOneWithoutThreadsEndsAtOnce)
{
    CThreadPool::DestroyThreadPool(CThreadPool::CreateThreadPool());
    EXPECT_EQ(reported(), std::vector<std::string>{});
    CThreadPool::DestroyThreadPool(nullptr);
    EXPECT_EQ(reported(), std::vector<std::string>{"!pPool"});
}

} // namespace
