// Unloading the library right behind the last call of a multimedia timer. This program isn't linked
// to the library, so that closing it really takes it out of the process.
#include <atomic>
#include <thread>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include <plinth_w32_system.h>

#include "library.h"

namespace
{

// The next SetEvent, which lets those go on who wait for the timer, stays behind its work until it
// is let go: the system's thread is then still on its way back through the library's code.
std::atomic<bool> g_hold{false};
std::atomic<bool> g_held{false};

// How far the thread that unloads has come.
enum class Unload
{
    none,
    begins,
    sets_the_fence, // the timer whose call comes behind the one that is held
    waits,
    done,
};
std::atomic<Unload> g_unload{Unload::none};
std::atomic<bool> g_cameBackEarly{false}; // from the wait, with the call still held

void reach(Unload next)
{
    g_unload = next;
    g_unload.notify_all();
}

} // namespace

extern "C" __attribute__((visibility("default"))) BOOL SetEvent(HANDLE event)
{
    static auto* const real = reinterpret_cast<decltype(SetEvent)*>(dlsym(RTLD_NEXT, "SetEvent"));
    const bool hold = g_hold.exchange(false);
    g_held = g_held || hold;
    const BOOL result = real(event);
    if (hold)
        g_held.wait(true);
    return result;
}

extern "C" __attribute__((visibility("default"))) MMRESULT
timeSetEvent(UINT delay, UINT resolution, LPTIMECALLBACK callback, DWORD_PTR user, UINT flags)
{
    static auto* const real =
        reinterpret_cast<decltype(timeSetEvent)*>(dlsym(RTLD_NEXT, "timeSetEvent"));
    if (g_unload == Unload::begins)
        reach(Unload::sets_the_fence);
    return real(delay, resolution, callback, user, flags);
}

extern "C" __attribute__((visibility("default"))) DWORD WaitForSingleObject(HANDLE object,
                                                                            DWORD milliseconds)
{
    static auto* const real =
        reinterpret_cast<decltype(WaitForSingleObject)*>(dlsym(RTLD_NEXT, "WaitForSingleObject"));
    const bool fence = g_unload == Unload::sets_the_fence;
    if (fence)
        reach(Unload::waits);
    const DWORD result = real(object, milliseconds);
    if (fence && g_held)
        g_cameBackEarly = true;
    return result;
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
    while (!g_held)
        std::this_thread::yield();
    reach(Unload::begins);
    std::thread closer(
        [&]
        {
            library.unload();
            reach(Unload::done);
        });
    for (Unload now = g_unload; now < Unload::waits; now = g_unload)
        g_unload.wait(now);
    if (g_unload == Unload::done)
    {
        closer.join();
        FAIL() << "the call would return into code that has gone"; // so it never returns
    }
    g_held = false;
    g_held.notify_all();
    closer.join();
    EXPECT_FALSE(g_cameBackEarly);
    g_unload = Unload::none;
    EXPECT_FALSE(Library::is_loaded());
}

} // namespace
