// Unloading the library right behind the end of a thread pool.
#include <atomic>
#include <thread>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include <plinth_w32_system.h>

#include "library.h"

namespace
{

thread_local bool t_isWorker = false;

// The worker that has left its pool stays in its last steps until it is let go.
std::atomic<bool> g_held{false};
std::atomic<bool> g_letGo{false};

// How far the thread that unloads has come.
enum class Unload
{
    none,
    waits,
    done,
};
std::atomic<Unload> g_unload{Unload::none};
std::atomic<bool> g_cameBackEarly{false}; // from the wait, with the worker still held

// What the library would call; none for the other tests of this program, which end no pools.
void (*g_await)() = nullptr;

} // namespace

extern "C" __attribute__((visibility("default"))) int
pthread_cond_destroy(pthread_cond_t* condition)
{
    if (t_isWorker)
    {
        g_held = true;
        g_held.notify_all();
        g_letGo.wait(false);
    }
    static auto* const real =
        reinterpret_cast<decltype(&pthread_cond_destroy)>(dlsym(RTLD_NEXT, "pthread_cond_destroy"));
    return real(condition);
}

extern "C" __attribute__((visibility("default"))) void pthread_await_ending_np()
{
    if (!g_await)
        return;
    g_unload = Unload::waits;
    g_unload.notify_all();
    g_await();
    if (g_held && !g_letGo)
        g_cameBackEarly = true;
}

namespace
{

TEST(PoolUnloadConcurrent, WaitsForTheReturnOfAWorkerThatHasLeftItsPool)
{
    Library library;
    g_await = Library::needed<void()>("pthread_await_ending_np");
    auto* const create = library.get<CThreadPool*()>("_ZN11CThreadPool16CreateThreadPoolEv");
    auto* const call = library.get<int(CThreadPool*, void* (*)(void*), void*)>(
        "_ZN11CThreadPool22MakeCallFromThreadPoolEPFPvS0_ES0_");
    auto* const destroy =
        library.get<void(CThreadPool*)>("_ZN11CThreadPool17DestroyThreadPoolEPS_");
    CThreadPool* const pool = create();
    ASSERT_NE(pool, nullptr);
    const auto work = [](void*) -> void*
    {
        t_isWorker = true;
        return nullptr;
    };
    ASSERT_EQ(call(pool, work, nullptr), QV_OK);
    destroy(pool);
    g_held.wait(false);
    std::thread closer(
        [&]
        {
            library.unload();
            g_unload = Unload::done;
            g_unload.notify_all();
        });
    g_unload.wait(Unload::none);
    if (g_unload == Unload::done)
    {
        closer.join();
        FAIL() << "the worker would return into code that has gone"; // so it never returns
    }
    g_letGo = true;
    g_letGo.notify_all();
    closer.join();
    EXPECT_FALSE(g_cameBackEarly);
    g_await = nullptr;
    EXPECT_FALSE(Library::is_loaded());
}

} // namespace
