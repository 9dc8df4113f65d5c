#include <deque>

#include "support/test.h"

#include "calls.h"
#include "support/soak.h"

namespace
{

TEST(ThreadPool, OverlappingCallsHaveAThreadEachAndTheFourthIdleOneEnds)
{
    CThreadPool* const pool = CThreadPool::CreateThreadPool();
    std::set<std::thread::id> threads{std::this_thread::get_id()};
    {
        std::deque<test::HeldCall> calls;
        for (int i = 0; i < 4; ++i)
        {
            ASSERT_EQ(calls.emplace_back(pool).status(), QV_OK);
            EXPECT_TRUE(threads.insert(calls.back().thread()).second);
        }
    }
    test::ThreadEnds::wait_for(1);

    // The three remaining threads take the next three calls, and a fourth call needs a new thread.
    test::HeldCall a(pool), b(pool), c(pool), d(pool);
    EXPECT_FALSE(threads.insert(a.thread()).second);
    EXPECT_FALSE(threads.insert(b.thread()).second);
    EXPECT_FALSE(threads.insert(c.thread()).second);
    EXPECT_EQ(std::set({a.thread(), b.thread(), c.thread(), d.thread()}).size(), 4u);
    EXPECT_EQ(test::ThreadEnds::count, 1);
    for (test::HeldCall* call : {&a, &b, &c, &d})
        call->finish();
    CThreadPool::DestroyThreadPool(pool);
}

TEST(ThreadPoolEnd, WaitsForTheCallsUnderWayAndEndsTheThreadsThatWait)
{
    const int before = test::ThreadEnds::count;
    CThreadPool* const pool = CThreadPool::CreateThreadPool();
    std::atomic<bool> destroyed{false};
    std::thread destroyer;
    {
        test::HeldCall held(pool);
        test::HeldCall(pool).finish();
        held.thread();
        destroyer = std::thread(
            [&]
            {
                CThreadPool::DestroyThreadPool(pool);
                destroyed = true;
            });
        // The waiting thread ends while the call under way continues.
        test::ThreadEnds::wait_for(before + 1);
        EXPECT_FALSE(destroyed);
    }
    destroyer.join();
    test::ThreadEnds::wait_for(before + 2);
}

CThreadPool* g_pool = nullptr;
std::atomic<uint64_t> g_runs{0}, g_failures{0};

// With an argument, it makes another call without one.
void* run(void* again)
{
    if (again)
        g_failures += g_pool->MakeCallFromThreadPool(run, nullptr) != QV_OK;
    ++g_runs;
    return nullptr;
}

// Pools are made and destroyed, each with callers from several threads and from its own calls: each
// call runs once. Repeats for PLINTH_SOAK_SECONDS.
TEST(ThreadPoolConcurrent, EachCallRunsOnce)
{
    constexpr int callers = 8;
    constexpr int calls = 500;
    constexpr uint64_t expected = callers * (calls + calls / 4);
    const test::SoakTime soak;
    uint64_t total = 0;
    do
    {
        g_pool = CThreadPool::CreateThreadPool();
        g_runs = 0;
        std::vector<std::thread> threads;
        for (int i = 0; i < callers; ++i)
            threads.emplace_back(
                []
                {
                    for (int call = 0; call < calls; ++call)
                        g_failures += g_pool->MakeCallFromThreadPool(
                                          run, call % 4 == 0 ? g_pool : nullptr) != QV_OK;
                });
        for (std::thread& thread : threads)
            thread.join();
        // No call may be made while the pool is destroyed, not even by its own calls.
        while (g_runs + g_failures < expected)
            std::this_thread::yield();
        CThreadPool::DestroyThreadPool(g_pool);
        ASSERT_EQ(g_failures, 0u);
        ASSERT_EQ(g_runs, expected);
        total += g_runs;
    } while (soak.goes_on());
    soak.report("calls", total);
}

} // namespace
