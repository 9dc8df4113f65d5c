// Unloading the library right after the last call of a multimedia timer, and right after the end of
// a thread pool. This program isn't linked to the library, so that closing it really takes it out
// of the process.
#include <thread>

#include <gtest/gtest.h>

#include <plinth_w32_system.h>

#include "library.h"
#include "support/instead.h"

namespace
{

// The next SetEvent, which lets those go on who wait for the timer, is held after its work: the
// system's thread is then still on its way back through the library's code.
std::atomic<bool> g_hold{false};

thread_local bool t_isWorker = false; // of the pool

// What the library would call; none for the other tests of this program, which end no pools.
void (*g_await)() = nullptr;

} // namespace

TEST_INSTEAD BOOL SetEvent(HANDLE event)
{
    static auto* const real = TEST_REAL(SetEvent);
    const BOOL result = real(event);
    if (g_hold.exchange(false))
        stay_held();
    return result;
}

TEST_INSTEAD MMRESULT timeSetEvent(UINT delay, UINT resolution, LPTIMECALLBACK callback,
                                   DWORD_PTR user, UINT flags)
{
    static auto* const real = TEST_REAL(timeSetEvent);
    if (g_unload == Unload::begins)
        reach(Unload::sets_the_fence);
    return real(delay, resolution, callback, user, flags);
}

TEST_INSTEAD DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds)
{
    static auto* const real = TEST_REAL(WaitForSingleObject);
    const bool fence = g_unload == Unload::sets_the_fence;
    if (fence)
        reach(Unload::waits);
    const DWORD result = real(object, milliseconds);
    if (fence && g_held)
        g_cameBackEarly = true;
    return result;
}

// The worker that has left its pool stays in its last steps until it is let go.
TEST_INSTEAD int pthread_cond_destroy(pthread_cond_t* condition)
{
    static auto* const real = TEST_REAL(pthread_cond_destroy);
    if (t_isWorker)
        stay_held();
    return real(condition);
}

TEST_INSTEAD void pthread_await_ending_np()
{
    if (!g_await)
        return;
    reach(Unload::waits);
    g_await();
    if (g_held)
        g_cameBackEarly = true;
}

namespace
{

// A timer of another kind, which nobody can end any more: its thread has gone. The record stays
// behind, also when the library goes.
[[gnu::noinline]] void abandon_message_timer(decltype(QV_SetThreadedTimer)* set)
{
    std::thread(
        [set]
        {
            const auto never = [](void*) { return 1; };
            EXPECT_NE(set(never, nullptr, 1e6, 0, QV_PRECISION_POSTED, 1), 0u);
        })
        .join();
}

TEST(TimerUnloadConcurrent, WaitsForTheLastCallOfAMultimediaTimerToReturn)
{
    Library library;
    auto* const set = library.get<decltype(QV_SetThreadedTimer)>("QV_SetThreadedTimer");
    auto* const wait = library.get<decltype(QV_WaitForTimer)>("QV_WaitForTimer");
    const auto once = [](void*) { return 1; };
    abandon_message_timer(set);
    // The first one makes what stays; the second is held.
    for (const bool hold : {false, true})
    {
        g_hold = hold;
        const uintptr_t id = set(once, nullptr, 1.0, 1, QV_PRECISION_MM_1, 1);
        ASSERT_NE(id, 0u);
        ASSERT_EQ(wait(static_cast<unsigned>(id)), QV_OK);
    }
    // A wait that comes between the timer's end and its event gives QV_OK at once.
    g_held.wait(false);
    expect_unloading_waits(library);
}

TEST(PoolUnloadConcurrent, WaitsForTheReturnOfAWorkerThatHasLeftItsPool)
{
    Library library;
    g_await = Library::needed<void()>("pthread_await_ending_np");
    CThreadPool* const pool = library.get<CThreadPool*()>("_ZN11CThreadPool16CreateThreadPoolEv")();
    ASSERT_NE(pool, nullptr);
    const auto work = [](void*) -> void*
    {
        t_isWorker = true;
        return nullptr;
    };
    ASSERT_EQ((library.get<int(CThreadPool*, void* (*)(void*), void*)>(
                  "_ZN11CThreadPool22MakeCallFromThreadPoolEPFPvS0_ES0_")(pool, work, nullptr)),
              QV_OK);
    library.get<void(CThreadPool*)>("_ZN11CThreadPool17DestroyThreadPoolEPS_")(pool);
    g_held.wait(false);
    expect_unloading_waits(library);
    g_await = nullptr;
}

} // namespace
