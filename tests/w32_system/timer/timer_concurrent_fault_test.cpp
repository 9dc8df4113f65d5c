// Timers of all kinds set, killed and waited for by many threads at the same time; their handles
// and threads are counted.
#include <climits>
#include <deque>
#include <future>
#include <random>

#include "support/test.h"

#include <mmsystem.h>

#include "instead.h"
#include "support/entries.h"
#include "support/soak.h"
#include "timer_calls.h"

using test::Instead;
using test::TimerCalls;

namespace
{

constexpr int threads = 8;
constexpr int cycles = 1'300; // of each thread

// A timer thread without a waiter joins the one that ended before: on a busy machine a chain of
// them may still be ending when all timers have run out.
void wait_for_threads(size_t most)
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (test::threads_here() > most && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void CALLBACK fence(UINT, UINT, DWORD_PTR passed, DWORD_PTR, DWORD_PTR)
{
    reinterpret_cast<std::promise<void>*>(passed)->set_value();
}

// A wait for a multimedia timer may end before the system's thread has released the event. Its
// calls come one after the other: after a new one, all earlier ones have returned.
void wait_for_multimedia_calls()
{
    std::promise<void> passed;
    ASSERT_NE(timeSetEvent(1, 0, fence, reinterpret_cast<DWORD_PTR>(&passed), TIME_ONESHOT), 0u);
    passed.get_future().wait();
}

// The newest timer of each thread, for others to wait for and to kill without knowing its state.
std::atomic<uintptr_t> g_newest[threads];

class Worker
{
public:
    Worker(int number, uint64_t seed) : m_number(number), m_random(seed) {}

    void run()
    {
        for (int i = 0; i < cycles; ++i)
            if (i % 32 == 0)
                posted();
            else
                cycle();
        // The rest runs out without help; the wait only keeps their data alive.
        for (const uintptr_t id : m_left)
            EXPECT_EQ(test::wait(id), QV_OK);
    }

private:
    int one_of(int count) { return static_cast<int>(m_random() % static_cast<unsigned>(count)); }

    void cycle()
    {
        const int way = one_of(5);
        if (way == 0) // another thread's timer, at any point of its life
        {
            const uintptr_t id = g_newest[one_of(threads)];
            if (one_of(2))
                test::kill(id);
            EXPECT_EQ(test::wait(id), QV_OK);
            return;
        }
        constexpr int runs_out = 1, answers_0 = 2, killed = 3, kills_itself = 4;
        TimerCalls& calls = m_calls.emplace_back();
        if (way == answers_0)
            calls.act = [](int) { return 0; };
        if (way == kills_itself)
            calls.act = [](int number)
            { return number > 1 || test::kill(QV_GetTimerRecord(0)->uId) == QV_OK; };
        const int mode = 1 + one_of(7);
        const uintptr_t id =
            calls.set(mode == QV_PRECISION_SPIN ? 0.02 : 1.0, way == runs_out ? 2 : 0, mode);
        EXPECT_NE(id, 0u);
        g_newest[m_number] = id;
        if (way == kills_itself) // without a wait
        {
            m_left.push_back(id);
            return;
        }
        if (way == killed) // perhaps before its first call, or already killed by another worker
        {
            const int status = test::kill(id);
            EXPECT_TRUE(status == QV_OK || status == QV_ERR_NULLPTR);
        }
        EXPECT_EQ(test::wait(id), QV_OK);
        EXPECT_EQ(test::kill(id), QV_ERR_NULLPTR);
        EXPECT_EQ(test::wait(id), QV_OK);
        EXPECT_LE(calls.count(), way == runs_out ? 2 : way == answers_0 ? 1 : INT_MAX);
    }

    void posted()
    {
        TimerCalls& calls = m_calls.emplace_back();
        const uintptr_t id = calls.set(0.0, 1, QV_PRECISION_POSTED);
        test::pump_until([&] { return calls.count() == 1; });
        EXPECT_EQ(test::kill(id), QV_ERR_NULLPTR);
    }

    const int m_number;
    std::mt19937_64 m_random;
    std::deque<TimerCalls> m_calls; // a deque: its elements don't move
    std::vector<uintptr_t> m_left;
};

void round(uint64_t seed)
{
    std::vector<std::thread> all;
    for (int i = 0; i < threads; ++i)
        all.emplace_back([=] { Worker(i, seed * threads + static_cast<uint64_t>(i)).run(); });
    for (std::thread& each : all)
        each.join();
}

// Repeats for PLINTH_SOAK_SECONDS.
TEST(TimersConcurrent, CyclesOfSetKillAndWaitLoseAndLeaveNothing)
{
    Instead::reset();
    // The first timer of each kind makes what stays: the system's thread, the lock.
    for (const int mode : {QV_PRECISION_SPIN, QV_PRECISION_MM_1})
        EXPECT_EQ(TimerCalls().run(1.0, 1, mode), 1);
    wait_for_multimedia_calls();
    const long events = Instead::events;
    const long closed = Instead::closed_events;
    const long open_threads = Instead::open_threads; // that of the last timer
    const size_t descriptors = test::entries("/proc/self/fd");
    const size_t running = test::threads_here();

    const test::SoakTime soak;
    uint64_t rounds = 0;
    do
        round(rounds++);
    while (soak.goes_on() && !HasFailure());
    soak.report("cycles", rounds * threads * cycles);

    wait_for_multimedia_calls();
    wait_for_threads(running);
    EXPECT_LE(test::threads_here(), running);
    // Closes those of all former threads.
    EXPECT_EQ(TimerCalls().run(1.0, 1, QV_PRECISION_SPIN), 1);
    EXPECT_EQ(Instead::open_threads, open_threads);
    EXPECT_GT(Instead::events - events, threads * cycles / 5);
    EXPECT_EQ(Instead::closed_events - closed, Instead::events - events);
    EXPECT_EQ(test::entries("/proc/self/fd"), descriptors);
    EXPECT_TRUE(Instead::assertions().empty());
    EXPECT_TRUE(Instead::traces().empty());
}

} // namespace
