// Timers of all kinds set, killed and waited for by many threads at once, with what they hold
// counted.
#include <chrono>
#include <deque>
#include <future>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <windows.h>

#include <mmsystem.h>

#include "instead.h"
#include "support/entries.h"
#include "support/soak.h"
#include "timer_calls.h"

using test::Instead;

namespace
{

constexpr int threads = 8;
constexpr int cycles = 1'300; // of each thread

// A thread that nobody waits for joins the one that ended before it: on a busy machine a chain of
// them may still be on its last steps when all timers have run out.
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

// A wait for a multimedia timer may be over before the system's thread has let go of the event. Its
// calls come one after the other: behind one that comes now, all earlier ones have returned.
void wait_for_multimedia_calls()
{
    std::promise<void> passed;
    ASSERT_NE(timeSetEvent(1, 0, fence, reinterpret_cast<DWORD_PTR>(&passed), TIME_ONESHOT), 0u);
    passed.get_future().wait();
}

// The data of one timer. It outlives a timer that nobody waits for.
struct Ticks
{
    std::atomic<int> count{0};
    int last = 0;  // the call that answers 0; 0: none
    int kills = 0; // the call that kills its own timer; 0: none

    static int callback(void* data)
    {
        auto& self = *static_cast<Ticks*>(data);
        const int number = ++self.count;
        if (number == self.kills)
            QV_KillTimerAsync(static_cast<unsigned int>(QV_GetTimerRecord(0)->uId));
        return number != self.last;
    }
    uintptr_t set(double milliseconds, int calls, int mode)
    {
        return QV_SetThreadedTimer(callback, this, milliseconds, calls, mode, 1);
    }
};

// The newest timer of each thread, for others to wait for and to kill without knowing its state.
std::atomic<uintptr_t> g_newest[threads];

class Worker
{
public:
    Worker(int number, uint64_t seed) : m_number(number), m_random(seed) {}

    void run()
    {
        for (int i = 0; i < cycles; ++i)
            cycle(i);
        // What is left runs out by itself: nobody waits for it, but for the data's sake.
        for (const uintptr_t id : m_left)
            EXPECT_EQ(test::wait(id), QV_OK);
    }

private:
    int one_of(int count) { return static_cast<int>(m_random() % static_cast<unsigned>(count)); }

    void cycle(int number)
    {
        if (number % 32 == 0)
        {
            posted();
            return;
        }
        const int mode = 1 + one_of(7);
        const double interval = mode == QV_PRECISION_SPIN ? 0.02 : 1.0;
        Ticks& ticks = m_ticks.emplace_back();
        switch (one_of(5))
        {
        case 0: // runs out
        {
            const uintptr_t id = publish(ticks.set(interval, 2, mode));
            EXPECT_EQ(test::wait(id), QV_OK);
            ended(id);
            EXPECT_LE(ticks.count, 2); // less if another worker has killed it
            break;
        }
        case 1: // answers 0
        {
            ticks.last = 1;
            const uintptr_t id = publish(ticks.set(interval, 0, mode));
            EXPECT_EQ(test::wait(id), QV_OK);
            ended(id);
            EXPECT_LE(ticks.count, 1);
            break;
        }
        case 2: // killed, perhaps before its first call
        {
            const uintptr_t id = publish(ticks.set(interval, 0, mode));
            const int status = test::kill(id);
            EXPECT_TRUE(status == QV_OK || status == QV_ERR_NULLPTR);
            EXPECT_EQ(test::wait(id), QV_OK);
            ended(id);
            break;
        }
        case 3: // kills itself, and nobody waits
            ticks.kills = 1;
            m_left.push_back(publish(ticks.set(interval, 0, mode)));
            break;
        default: // somebody else's: at any moment of its life
        {
            const uintptr_t id = g_newest[one_of(threads)];
            if (one_of(2))
                test::kill(id);
            EXPECT_EQ(test::wait(id), QV_OK);
            break;
        }
        }
    }

    uintptr_t publish(uintptr_t id)
    {
        EXPECT_NE(id, 0u);
        g_newest[m_number] = id;
        return id;
    }

    static void ended(uintptr_t id)
    {
        EXPECT_EQ(test::kill(id), QV_ERR_NULLPTR);
        EXPECT_EQ(test::wait(id), QV_OK);
    }

    void posted()
    {
        Ticks& ticks = m_ticks.emplace_back();
        const uintptr_t id = ticks.set(0.0, 1, QV_PRECISION_POSTED);
        test::pump_until([&] { return ticks.count == 1; });
        EXPECT_EQ(test::kill(id), QV_ERR_NULLPTR);
    }

    const int m_number;
    std::mt19937_64 m_random;
    std::deque<Ticks> m_ticks; // a deque: they stay where they are
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

// PLINTH_SOAK_SECONDS makes it go on for so long.
TEST(TimersConcurrent, CyclesOfSetKillAndWaitLoseAndLeaveNothing)
{
    Instead::reset();
    // The first timer of each kind makes what stays: the system's thread, the lock, the last
    // thread.
    for (const int mode : {QV_PRECISION_SPIN, QV_PRECISION_MM_1})
    {
        Ticks ticks;
        EXPECT_EQ(test::wait(ticks.set(1.0, 1, mode)), QV_OK);
    }
    wait_for_multimedia_calls();
    const long events = Instead::events;
    const long closed = Instead::closed_handles;
    const long joinable = Instead::joinable_threads;
    const long blocks = Instead::blocks;
    const size_t descriptors = test::entries("/proc/self/fd");
    const size_t running = test::threads_here();

    const test::SoakTime soak;
    uint64_t rounds = 0;
    do
        round(rounds++);
    while (soak.goes_on() && !HasFailure());
    soak.report("cycles", rounds * threads * cycles);

    wait_for_multimedia_calls();
    wait_for_threads(running + 1); // one has nobody behind it who joins it
    EXPECT_LE(test::threads_here(), running + 1);
    EXPECT_GT(Instead::events - events, threads * cycles / 5);
    EXPECT_EQ(Instead::closed_handles - closed, Instead::events - events);
    EXPECT_LE(Instead::joinable_threads, joinable + 1) << "threads not given back";
    EXPECT_LE(Instead::blocks, blocks + 50) << "records, or what belongs to them";
    EXPECT_EQ(test::entries("/proc/self/fd"), descriptors);
    EXPECT_TRUE(Instead::assertions().empty());
    EXPECT_TRUE(Instead::traces().empty());
}

} // namespace
