// Unloading the library while it has workers of asynchronous transfers. This program isn't linked
// to it, so that closing it really takes it out of the process.
#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <ctime>
#include <unistd.h>

#include <gtest/gtest.h>

#include <plinth_w32_system.h>

#include "library.h"
#include "support/entries.h"
#include "support/environment.h"
#include "support/soak.h"

// Locks that are there from the start, made at their first use, are never destroyed: each loading
// of the library leaves theirs behind. So does a message timer whose thread has gone.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:TakeMemory\nleak:abandon_message_timer\n";
}

// In the place of the clock and of the pause between two looks at whether the workers are gone:
// time flies for the thread that unloads, and its looks are counted.
namespace
{

thread_local bool t_flies = false;
std::atomic<int> g_looks{0};

} // namespace

extern "C" __attribute__((visibility("default"))) BOOL QueryPerformanceCounter(LARGE_INTEGER* count)
{
    static thread_local LONGLONG t_ahead = 0;
    constexpr LONGLONG hour = 3'600'000'000'000;
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (t_flies)
        t_ahead += hour;
    count->QuadPart = now.tv_sec * 1'000'000'000LL + now.tv_nsec + t_ahead;
    return TRUE;
}

extern "C" __attribute__((visibility("default"))) int pthread_delay_np(const timespec* interval)
{
    nanosleep(interval, nullptr);
    if (t_flies)
        ++g_looks;
    g_looks.notify_all();
    return 0;
}

namespace
{

// The descriptors of files below a folder.
size_t open_files(const std::string& below)
{
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    {
        std::error_code gone;
        count += std::filesystem::read_symlink(entry, gone).string().starts_with(below);
    }
    return count;
}

// Counts callbacks, and holds them if it is told to.
struct Callbacks
{
    static void on_copy(int status, uint64_t, uint64_t, void* self)
    {
        static_cast<Callbacks*>(self)->add(status);
    }
    void add(int status)
    {
        std::unique_lock lock(mutex);
        ++count;
        ended = ended || status != QV_ERR_INPROGRESS;
        changed.notify_all();
        changed.wait(lock, [&] { return !held; });
    }
    void wait_for(uint64_t calls)
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return count >= calls; });
    }
    void wait_for_end()
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return ended; });
    }
    void hold(bool value)
    {
        const std::lock_guard lock(mutex);
        held = value;
        changed.notify_all();
    }
    std::mutex mutex;
    std::condition_variable changed;
    uint64_t count = 0;
    bool ended = false;
    bool held = false;
};

class AsyncUnloadConcurrent : public testing::Test
{
protected:
    // A sanitizer may start a thread of its own with the first of the program, to be counted.
    AsyncUnloadConcurrent()
    {
        std::thread([] {}).join();
    }

    // Copies a file of so many bytes, all holes.
    void start_copy(const Library& library, Callbacks& calls, int number, off_t size)
    {
        const std::string source = m_folder + "/source";
        if (!std::filesystem::exists(source))
            test::write_file(source, "");
        ASSERT_EQ(truncate(source.c_str(), size), 0);
        auto* const copy = library.get<decltype(QV_CopyFile)>("QV_CopyFile");
        ASSERT_NE(copy, nullptr);
        ASSERT_EQ(copy(test::windows_form(source),
                       test::windows_form(m_folder + "/target" + std::to_string(number)), 0,
                       nullptr, Callbacks::on_copy, &calls),
                  QV_OK);
    }
    void expect_nothing_left(size_t threads)
    {
        EXPECT_FALSE(Library::is_loaded());
        EXPECT_EQ(test::threads_here(), threads);
        EXPECT_EQ(open_files(m_folder), 0u);
    }
    const std::string m_folder = test::make_folder("unload");
    static constexpr int rounds = 25;
};

TEST_F(AsyncUnloadConcurrent, IdleWorkersAreGoneWithTheLibrary)
{
    const size_t threads = test::threads_here();
    const test::SoakTime soak;
    uint64_t total = 0;
    do
        for (int round = 0; round < rounds && !HasFailure(); ++round, ++total)
        {
            Library library;
            Callbacks calls;
            start_copy(library, calls, 0, 5'000);
            calls.wait_for_end();
            library.unload();
            expect_nothing_left(threads);
        }
    while (soak.goes_on() && !HasFailure());
    soak.report("unloads", total);
}

TEST_F(AsyncUnloadConcurrent, TransfersInFlightEndWithTheLibraryAndCallBackNoMore)
{
    const size_t threads = test::threads_here();
    const test::SoakTime soak;
    uint64_t total = 0;
    do
        for (int round = 0; round < rounds && !HasFailure(); ++round, ++total)
        {
            Library library;
            Callbacks calls;
            for (int number = 0; number < 4; ++number)
                start_copy(library, calls, number, off_t{1} << 40);
            calls.wait_for(static_cast<uint64_t>(1 + round));
            library.unload();
            const uint64_t seen = calls.count;
            EXPECT_FALSE(calls.ended);
            expect_nothing_left(threads);
            EXPECT_EQ(calls.count, seen);
        }
    while (soak.goes_on() && !HasFailure());
    soak.report("unloads", total);
}

TEST_F(AsyncUnloadConcurrent, UnloadingWaitsForACallbackAsLongAsItTakes)
{
    const size_t threads = test::threads_here();
    Library library;
    Callbacks calls;
    calls.hold(true);
    start_copy(library, calls, 0, off_t{1} << 40);
    calls.wait_for(1);
    std::atomic<bool> unloaded{false};
    std::thread closer(
        [&]
        {
            t_flies = true;
            library.unload();
            unloaded = true;
        });
    // Hours past the time that the end of a process would wait.
    for (int now; (now = g_looks) < 3;)
        g_looks.wait(now);
    EXPECT_FALSE(unloaded);
    calls.hold(false);
    closer.join();
    expect_nothing_left(threads);
    EXPECT_EQ(calls.count, 1u);
}

} // namespace
