// The pool's time-outs and failures. This program stands between the library and the functions
// that it calls: its own definitions of them come first in the search for symbols.
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>

#include <tchar.h>

#include "calls.h"
#include "support/wide_text.h"

namespace
{

template <class Function> Function* next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::atomic<int> g_create_error{0};
std::atomic<double> g_counter_shift{0};
thread_local bool t_allocations_fail = false;
std::atomic<int> g_allocations{0};

struct Wait
{
    std::thread::id thread;
    long long seconds; // from the calendar's whole second to the deadline
    long nanoseconds;
};

// What waits in timedwait with a mutex of the pool. Guarded by g_mutex.
std::mutex g_mutex;
std::condition_variable g_changed;
std::vector<Wait> g_waits;
std::function<int(int)> g_timed_result; // changes the result of a timed wait
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

// Waits until the n-th timed wait of the test, counted from 1, has been entered, and gives it.
Wait nth_wait(size_t n)
{
    std::unique_lock lock(g_mutex);
    g_changed.wait(lock, [&] { return g_waits.size() >= n; });
    return g_waits[n - 1];
}

} // namespace

#define INSTEAD extern "C" __attribute__((visibility("default")))

INSTEAD int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                           void* (*start)(void*), void* argument)
{
    if (const int error = g_create_error.exchange(0))
        return error;
    return next<decltype(pthread_create)>("pthread_create")(thread, attributes, start, argument);
}

INSTEAD int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                   const timespec* deadline)
{
    {
        const std::lock_guard lock(g_mutex);
        g_waits.push_back({std::this_thread::get_id(),
                           deadline->tv_sec - static_cast<long long>(_time64(nullptr)),
                           deadline->tv_nsec});
        g_changed.notify_all();
    }
    const int result = next<decltype(pthread_cond_timedwait)>("pthread_cond_timedwait")(
        condition, mutex, deadline);
    const std::lock_guard lock(g_mutex);
    return g_timed_result ? g_timed_result(result) : result;
}

// Defines a function of the threads module that does its work and may report a failure.
#define WATCHED(name, parameters, arguments)                                                       \
    INSTEAD int name parameters noexcept                                                           \
    {                                                                                              \
        static auto* const function = next<int parameters>(#name);                                 \
        return outcome(#name, function arguments);                                                 \
    }

WATCHED(pthread_mutex_init, (pthread_mutex_t * mutex, const pthread_mutexattr_t* attributes),
        (mutex, attributes))
WATCHED(pthread_mutex_destroy, (pthread_mutex_t * mutex), (mutex))
WATCHED(pthread_mutex_lock, (pthread_mutex_t * mutex), (mutex))
WATCHED(pthread_mutex_unlock, (pthread_mutex_t * mutex), (mutex))
WATCHED(pthread_cond_init, (pthread_cond_t * condition, const pthread_condattr_t* attributes),
        (condition, attributes))
WATCHED(pthread_cond_destroy, (pthread_cond_t * condition), (condition))
WATCHED(pthread_cond_signal, (pthread_cond_t * condition), (condition))
WATCHED(pthread_detach, (pthread_t thread), (thread))
WATCHED(sem_init, (sem_t * semaphore, int shared, unsigned value), (semaphore, shared, value))
WATCHED(sem_destroy, (sem_t * semaphore), (semaphore))
WATCHED(sem_post, (sem_t * semaphore), (semaphore))

INSTEAD int sem_wait(sem_t* semaphore)
{
    return outcome("sem_wait", next<int(sem_t*)>("sem_wait")(semaphore));
}

INSTEAD int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex)
{
    return outcome("pthread_cond_wait", next<int(pthread_cond_t*, pthread_mutex_t*)>(
                                            "pthread_cond_wait")(condition, mutex));
}

INSTEAD double QV_GetTimeCounter()
{
    return next<decltype(QV_GetTimeCounter)>("QV_GetTimeCounter")() + g_counter_shift;
}

INSTEAD int DiagAssertW(unsigned, const wchar_t* expression, const wchar_t*, const char*, int)
{
    const std::lock_guard lock(g_mutex);
    g_assertions.push_back(test::utf8(expression));
    return 1;
}

void* operator new(size_t size)
{
    if (t_allocations_fail)
        throw std::bad_alloc();
    ++g_allocations;
    if (void* const memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}

void* operator new(size_t size, const std::nothrow_t&) noexcept
{
    if (t_allocations_fail)
        return nullptr;
    ++g_allocations;
    return std::malloc(size);
}

// Not inline: the compiler would see free() beside the new of a caller, and take it for a mistake.
__attribute__((noinline)) void operator delete(void* memory) noexcept
{
    std::free(memory);
}

__attribute__((noinline)) void operator delete(void* memory, size_t) noexcept
{
    std::free(memory);
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
        nth_wait(3);
        if (third_times_out)
            test::ThreadEnds::wait_for(1);
        PlinthTestShiftWallClock(0);
    }

    CThreadPool* const pool = CThreadPool::CreateThreadPool();
    std::vector<std::thread::id> idle;
    bool third_times_out = false;
};

TEST_F(ThreadPoolTimes, DifferForEachWorkerThatWaits)
{
    three_idle_workers();
    const long long expected[] = {60, 30, 15};
    for (size_t i = 0; i < 3; ++i)
    {
        EXPECT_EQ(nth_wait(i + 1).thread, idle[i]);
        EXPECT_LE(nth_wait(i + 1).seconds, expected[i]);
        EXPECT_GE(nth_wait(i + 1).seconds, expected[i] - 1);
        EXPECT_EQ(nth_wait(i + 1).nanoseconds, 0);
    }
}

TEST_F(ThreadPoolTimes, ALoneIdleWorkerEndsAndTheNextCallHasANewOne)
{
    PlinthTestShiftWallClock(-62'000);
    {
        test::HeldCall call(pool);
    }
    test::ThreadEnds::wait_for(1);
    PlinthTestShiftWallClock(0);
    test::HeldCall call(pool);
    EXPECT_EQ(call.status(), QV_OK);
    EXPECT_EQ(test::ThreadEnds::count(), 1);
}

TEST_F(ThreadPoolTimes, TheWorkerWithTheMostTimeLeftTakesTheCall)
{
    third_times_out = true;
    three_idle_workers();
    test::HeldCall first(pool);
    EXPECT_EQ(first.thread(), idle[0]);
    test::HeldCall second(pool);
    EXPECT_EQ(second.thread(), idle[1]);
    // It comes back to the longest wait while nobody else has that.
    first.finish();
    EXPECT_GE(nth_wait(4).seconds, 59);
}

TEST_F(ThreadPoolTimes, WithNoTimeLeftTheLastThatWaitsTakesTheCall)
{
    three_idle_workers();
    g_counter_shift = 61'000;
    test::HeldCall call(pool);
    EXPECT_EQ(call.thread(), idle[2]);
    g_counter_shift = 0;
}

TEST_F(ThreadPoolTimes, AWorkerThatRanOutOfTimeTakesTheCallThatCameMeanwhile)
{
    std::thread::id thread;
    {
        test::HeldCall call(pool);
        thread = call.thread();
    }
    nth_wait(1);
    {
        // It was signalled, and yet the wait says that it timed out.
        const std::lock_guard lock(g_mutex);
        g_timed_result = [](int) { return ETIMEDOUT; };
    }
    test::HeldCall call(pool);
    EXPECT_EQ(call.thread(), thread);
    const std::lock_guard lock(g_mutex);
    g_timed_result = nullptr;
}

TEST_F(ThreadPoolTimes, AWaitThatFailsIsReportedAndEndsTheWorker)
{
    {
        const std::lock_guard lock(g_mutex);
        g_timed_result = [](int) { return EINVAL; };
    }
    PlinthTestShiftWallClock(-62'000);
    {
        test::HeldCall call(pool);
    }
    test::ThreadEnds::wait_for(1);
    const std::lock_guard lock(g_mutex);
    g_timed_result = nullptr;
    EXPECT_EQ(g_assertions, std::vector<std::string>{"true"});
}

TEST_F(ThreadPoolTimes, WithoutAThreadTheCallFailsAndThePoolLives)
{
    test::HeldCall busy(pool);
    g_create_error = EAGAIN;
    test::HeldCall refused(pool);
    EXPECT_EQ(refused.status(), QV_ERR_SYSTEM);
    test::HeldCall next(pool);
    EXPECT_EQ(next.status(), QV_OK);
}

TEST_F(ThreadPoolTimes, WithoutMemoryForAnotherWorkerTheCallFailsAndThePoolLives)
{
    std::vector<std::unique_ptr<test::HeldCall>> calls;
    calls.reserve(100);
    bool failed = false;
    for (int i = 0; i < 40; ++i)
    {
        auto memory = std::make_unique<char[]>(sizeof(test::HeldCall));
        t_allocations_fail = true;
        auto* const call = new (memory.get()) test::HeldCall(pool);
        t_allocations_fail = false;
        const int status = call->status();
        if (status == QV_OK)
            call->finish();
        std::destroy_at(call);
        failed |= status == QV_ERR_SYSTEM;
        EXPECT_TRUE(status == QV_OK || status == QV_ERR_SYSTEM) << status;
        calls.push_back(std::make_unique<test::HeldCall>(pool));
        EXPECT_EQ(calls.back()->status(), QV_OK);
    }
    EXPECT_TRUE(failed);
    t_allocations_fail = true;
    CThreadPool* const none = CThreadPool::CreateThreadPool();
    t_allocations_fail = false;
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
    ASSERT_EQ(pool->MakeCallFromThreadPool(call, &runs), QV_OK);
    nth_wait(1);
    const int before = g_allocations;
    for (int i = 1; i < 100; ++i)
    {
        ASSERT_EQ(pool->MakeCallFromThreadPool(call, &runs), QV_OK);
        nth_wait(static_cast<size_t>(i) + 1);
    }
    EXPECT_EQ(g_allocations, before);
    EXPECT_EQ(runs, 100);
}

// From when on calls count: the test's own locks and conditions come in between.
enum class Part
{
    life,      // of the pool, in all threads
    hand_over, // of the first call, in its caller
    end,       // of the pool, in all threads
};

struct FailingCall
{
    const char* function;
    int call; // of the functions of this name, from 1
    const char* expression;
    Part part = Part::life;
};

void PrintTo(const FailingCall& each, std::ostream* out)
{
    *out << each.function << " " << each.call;
}

class ThreadPoolFailures : public testing::TestWithParam<FailingCall>
{
};

// The life of a pool with one worker that takes two calls, the second out of its wait.
TEST_P(ThreadPoolFailures, AreReportedAndThePoolGoesOn)
{
    g_waits.reserve(100);
    g_failing_call = GetParam().call;
    g_failing = GetParam().function;
    g_all_watched = GetParam().part == Part::life;
    CThreadPool* const pool = CThreadPool::CreateThreadPool();
    {
        t_watched = GetParam().part == Part::hand_over;
        test::HeldCall call(pool);
        t_watched = false;
        EXPECT_EQ(call.status(), QV_OK);
    }
    nth_wait(1);
    {
        test::HeldCall call(pool);
        EXPECT_EQ(call.status(), QV_OK);
    }
    nth_wait(2);
    g_all_watched = GetParam().part != Part::hand_over;
    CThreadPool::DestroyThreadPool(pool);
    test::ThreadEnds::wait_for(1);
    g_failing = nullptr;
    const std::lock_guard lock(g_mutex);
    ASSERT_EQ(g_assertions.size(), 1u);
    EXPECT_EQ(g_assertions[0].substr(0, std::strlen(GetParam().expression)), GetParam().expression);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, ThreadPoolFailures,
    testing::Values(
        FailingCall{"pthread_mutex_init", 1, "pthread_mutex_init(&m_PoolMutex, NULL)"},
        FailingCall{"pthread_mutex_init", 2, "pthread_mutex_init(&m_ThreadMutex, NULL)"},
        FailingCall{"pthread_cond_init", 1, "pthread_cond_init(&m_FinishSignal, NULL)"},
        FailingCall{"pthread_cond_init", 2, "pthread_cond_init(&m_Signal, NULL)"},
        FailingCall{"sem_init", 1, "sem_init (&m_CtxSem, 0, 0)"},
        FailingCall{"sem_wait", 1, "sem_wait(&m_CtxSem)"},
        FailingCall{"sem_post", 1, "sem_post(&m_CtxSem)"},
        FailingCall{"sem_post", 2, "sem_post(&m_CtxSem)"},
        FailingCall{"pthread_detach", 1, "pthread_detach(thread)"},
        FailingCall{"pthread_cond_signal", 1, "pthread_cond_signal(pSignal)"},
        FailingCall{"pthread_cond_signal", 2, "pthread_cond_signal(pSignal)"}, // to end the worker
        FailingCall{"pthread_cond_signal", 3, "pthread_cond_signal(pSignal)"}, // by the last worker
        FailingCall{"pthread_cond_wait", 1, "pthread_cond_wait(&m_FinishSignal, &m_ThreadMutex)",
                    Part::end},
        // The worker's own and the pool's, in either order.
        FailingCall{"pthread_cond_destroy", 1, "pthread_cond_destroy(&m_", Part::end},
        FailingCall{"pthread_cond_destroy", 2, "pthread_cond_destroy(&m_", Part::end},
        FailingCall{"pthread_mutex_lock", 1, "pthread_mutex_lock(&m_PoolMutex)", Part::hand_over},
        FailingCall{"pthread_mutex_lock", 2, "pthread_mutex_lock(&m_ThreadMutex)", Part::hand_over},
        FailingCall{"pthread_mutex_unlock", 1, "pthread_mutex_unlock(&m_ThreadMutex)",
                    Part::hand_over},
        FailingCall{"pthread_mutex_unlock", 2, "pthread_mutex_unlock(&m_PoolMutex)",
                    Part::hand_over},
        FailingCall{"sem_destroy", 1, "sem_destroy(&m_CtxSem)"},
        FailingCall{"pthread_mutex_destroy", 1, "pthread_mutex_destroy(&m_ThreadMutex)"},
        FailingCall{"pthread_mutex_destroy", 2, "pthread_mutex_destroy(&m_PoolMutex)"}),
    [](const auto& each)
    { return std::string(each.param.function) + "_" + std::to_string(each.param.call); });

TEST(ThreadPoolFaults, ANullPoolIsRefused)
{
    CThreadPool::DestroyThreadPool(nullptr);
    const std::lock_guard lock(g_mutex);
    EXPECT_EQ(g_assertions, std::vector<std::string>{"!pPool"});
}

} // namespace
