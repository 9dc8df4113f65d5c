// Unloading the library while it has workers of asynchronous transfers. This program isn't linked
// to it, so that closing it really takes it out of the process.
#include <atomic>
#include <filesystem>
#include <thread>

#include <unistd.h>

#include <gtest/gtest.h>

#include <plinth_w32_system.h>

#include "library.h"
#include "support/entries.h"
#include "support/environment.h"
#include "support/instead.h"
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

TEST_INSTEAD BOOL QueryPerformanceCounter(LARGE_INTEGER* count)
{
    static thread_local LONGLONG t_ahead = 0; // ns
    constexpr LONGLONG hour = 3'600'000'000'000;
    const BOOL result = TEST_REAL(QueryPerformanceCounter)(count);
    if (t_flies)
        t_ahead += hour;
    count->QuadPart += t_ahead;
    return result;
}

TEST_INSTEAD int pthread_delay_np(const timespec* interval)
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
        auto& calls = *static_cast<Callbacks*>(self);
        calls.ended = calls.ended || status != QV_ERR_INPROGRESS;
        ++calls.count;
        calls.count.notify_all();
        calls.held.wait(true);
    }
    void wait_for(unsigned calls)
    {
        for (unsigned now; (now = count) < calls;)
            count.wait(now);
    }
    std::atomic<unsigned> count = 0;
    std::atomic<bool> ended = false;
    std::atomic<bool> held = false;
};

class AsyncUnloadConcurrent : public testing::Test
{
protected:
    // A sanitizer may start a thread of its own with the first of the program, to be counted.
    AsyncUnloadConcurrent()
    {
        std::thread([] {}).join();
        m_threads = test::threads_here();
    }

    // Copies a file of so many bytes, all holes.
    void start_copy(const Library& library, Callbacks& calls, int number, off_t size)
    {
        const std::string source = m_folder + "/source";
        if (!std::filesystem::exists(source))
            test::write_file(source, "");
        ASSERT_EQ(truncate(source.c_str(), size), 0);
        ASSERT_EQ(library.get<decltype(QV_CopyFile)>("QV_CopyFile")(
                      test::windows_form(source),
                      test::windows_form(m_folder + "/target" + std::to_string(number)), 0, nullptr,
                      Callbacks::on_copy, &calls),
                  QV_OK);
    }
    void expect_nothing_left()
    {
        EXPECT_FALSE(Library::is_loaded());
        EXPECT_EQ(test::threads_here(), m_threads);
        EXPECT_EQ(open_files(m_folder), 0u);
    }
    template <class Round> void repeat(Round round)
    {
        const test::SoakTime soak;
        uint64_t total = 0;
        do
            for (unsigned i = 0; i < 25 && !HasFailure(); ++i, ++total)
            {
                Library library;
                Callbacks calls;
                round(library, calls, i);
                expect_nothing_left();
            }
        while (soak.goes_on() && !HasFailure());
        soak.report("unloads", total);
    }
    const std::string m_folder = test::make_folder("unload");
    size_t m_threads = 0;
};

TEST_F(AsyncUnloadConcurrent, IdleWorkersAreGoneWithTheLibrary)
{
    repeat(
        [&](Library& library, Callbacks& calls, unsigned)
        {
            start_copy(library, calls, 0, 5'000);
            for (unsigned i = 1; !calls.ended; ++i)
                calls.wait_for(i);
            library.unload();
        });
}

TEST_F(AsyncUnloadConcurrent, TransfersInFlightEndWithTheLibraryAndCallBackNoMore)
{
    repeat(
        [&](Library& library, Callbacks& calls, unsigned round)
        {
            for (int number = 0; number < 4; ++number)
                start_copy(library, calls, number, off_t{1} << 40);
            calls.wait_for(1 + round);
            library.unload();
            EXPECT_FALSE(calls.ended);
        });
}

TEST_F(AsyncUnloadConcurrent, UnloadingWaitsForACallbackAsLongAsItTakes)
{
    Library library;
    Callbacks calls;
    calls.held = true;
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
    calls.held = false;
    calls.held.notify_all();
    closer.join();
    expect_nothing_left();
    EXPECT_EQ(calls.count, 1u);
}

} // namespace
