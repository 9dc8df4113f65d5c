// Failures below asynchronous transfers, and what workers do when there is nothing to do. This
// program stands between the library and the calls that it makes for its threads.
#include <atomic>
#include <cerrno>
#include <new>
#include <string>
#include <vector>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>

#include "async_calls.h"
#include "support/entries.h"
#include "support/files.h"

using test::AsyncCalls;
using test::OpenedFile;
using test::pattern;
using test::Wide;

namespace
{

template <class Function> Function* next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::atomic<int> g_create_error{0};
std::atomic<int> g_create_count{0};
thread_local int t_allocations_left = -1; // negative: no end
std::atomic<int> g_allocations{0};

// The pauses of idle workers. Held, they last until they are let go.
std::mutex g_mutex; // guards all below
std::condition_variable g_changed;
bool g_pauses_held = false;
int g_pauses = 0;
int g_in_pause = 0;
long g_longest_pause = 0; // nanoseconds

} // namespace

#define INSTEAD extern "C" __attribute__((visibility("default")))

INSTEAD int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                           void* (*start)(void*), void* argument)
{
    if (const int error = g_create_error.exchange(0))
        return error;
    ++g_create_count;
    return next<decltype(pthread_create)>("pthread_create")(thread, attributes, start, argument);
}

INSTEAD int pthread_delay_np(const timespec* interval)
{
    {
        std::unique_lock lock(g_mutex);
        ++g_pauses;
        ++g_in_pause;
        g_longest_pause =
            std::max(g_longest_pause, interval->tv_sec * 1'000'000'000 + interval->tv_nsec);
        g_changed.notify_all();
        g_changed.wait(lock, [] { return !g_pauses_held; });
        --g_in_pause;
    }
    return next<decltype(pthread_delay_np)>("pthread_delay_np")(interval);
}

// What it gives is freed by whatever operator delete belongs to the next one.
[[gnu::noinline]] void* operator new(size_t size)
{
    if (t_allocations_left == 0)
        throw std::bad_alloc();
    if (t_allocations_left > 0)
        --t_allocations_left;
    ++g_allocations;
    static void* (*const real)(size_t) = next<void*(size_t)>("_Znwm");
    return real(size);
}

namespace
{

using Calls = std::vector<test::AsyncCall>;
constexpr int more = QV_ERR_INPROGRESS;

class AsyncFaults : public testing::Test
{
protected:
    AsyncFaults() { test::write_file(native("a"), pattern(10'000)); }
    ~AsyncFaults() override
    {
        PlinthTestReset();
        hold_pauses(false);
    }

    Wide path(const std::string& name) const { return test::path_in(m_folder, name); }
    std::string native(const std::string& name) const { return m_folder + "/" + name; }
    static void hold_pauses(bool held)
    {
        const std::lock_guard lock(g_mutex);
        g_pauses_held = held;
        g_changed.notify_all();
    }
    static void wait_for_pause()
    {
        std::unique_lock lock(g_mutex);
        g_changed.wait(lock, [] { return g_in_pause > 0; });
    }

    // What a read or write of 10,000 bytes calls back.
    Calls transfer(bool writing)
    {
        OpenedFile file(path("a"), QV_OPEN_READ | QV_OPEN_WRITE);
        std::string buffer = pattern(10'000);
        AsyncCalls calls;
        const QvAsyncIo io = calls.io();
        const int status = writing ? QV_WriteFile(file, buffer.data(), buffer.size(), nullptr, &io)
                                   : QV_ReadFile(file, buffer.data(), buffer.size(), nullptr, &io);
        if (status != QV_OK)
            return {{status, 0, 77}};
        const Calls seen = calls.wait();
        test::wait_for_steps();
        return seen;
    }

    // What a copy of the file of 10,000 bytes calls back until the status; "b" is what it wrote.
    Calls copy(int last)
    {
        AsyncCalls calls;
        const int status =
            QV_CopyFile(path("a"), path("b"), 0, nullptr, AsyncCalls::on_copy, &calls);
        if (status != QV_OK)
            return {{status, 0, 77}};
        const Calls seen = calls.wait_for(last);
        test::wait_for_steps();
        return seen;
    }
    size_t written() const { return test::read_file(native("b")).size(); }

    std::string m_folder = test::make_folder("async-faults");
};

TEST_F(AsyncFaults, ATransferEndsAtTheBlockWhoseSeekReadOrWriteFails)
{
    for (unsigned nth = 1; nth <= 3; ++nth)
    {
        const struct
        {
            bool writing;
            const char* operation;
            int error;
            int status;
        } rows[] = {
            {false, "lseek", EIO, QV_ERR_SEEKFILE},   {true, "lseek", EIO, QV_ERR_SEEKFILE},
            {false, "read", EIO, QV_ERR_READFILE},    {true, "write", EIO, QV_ERR_WRITEFILE},
            {true, "write", ENOSPC, QV_ERR_DISKFULL},
        };
        for (const auto& row : rows)
        {
            PlinthTestFail(row.operation, nth, 1, row.error);
            Calls expected;
            for (unsigned block = 1; block < nth; ++block)
                expected.push_back({more, 0, block * 4096});
            expected.push_back({row.status, 0, (nth - 1) * 4096});
            EXPECT_EQ(transfer(row.writing), expected) << row.operation << " " << nth;
            PlinthTestReset();
        }
    }
}

TEST_F(AsyncFaults, ACopyEndsAtTheBlockWhoseWriteFails)
{
    const size_t before = test::entries("/proc/self/fd");
    for (unsigned nth = 1; nth <= 3; ++nth)
        for (const auto& [error, status] :
             {std::pair{ENOSPC, int{QV_ERR_DISKFULL}}, std::pair{EIO, int{QV_ERR_WRITEFILE}}})
        {
            PlinthTestFail("write", nth, 1, error);
            Calls expected;
            for (unsigned block = 1; block < nth; ++block)
                expected.push_back({more, 10'000, block * 4096});
            expected.push_back({status, 10'000, (nth - 1) * 4096});
            EXPECT_EQ(copy(status), expected);
            EXPECT_EQ(written(), (nth - 1) * 4096) << "what was written stays";
            EXPECT_EQ(test::entries("/proc/self/fd"), before);
            PlinthTestReset();
        }
}

TEST_F(AsyncFaults, ACopyGoesOnWhereNoRoomCanBeReserved)
{
    const std::string bytes = pattern((size_t{2} << 20) + 100);
    test::write_file(native("a"), bytes);
    for (const int error : {ENOSPC, EOPNOTSUPP})
    {
        PlinthTestFail("fallocate", 1, 2, error);
        const Calls seen = copy(QV_OK);
        EXPECT_EQ(seen.back(), (test::AsyncCall{QV_OK, bytes.size(), bytes.size()}));
        EXPECT_EQ(test::read_file(native("b")), bytes);
        PlinthTestReset();
    }
}

TEST_F(AsyncFaults, ADiskThatFillsWithinABlockLeavesWhatItTook)
{
    PlinthTestShorten("write", 2, 1, 100); // of the second block, then no more
    PlinthTestFail("write", 3, 1, ENOSPC);
    EXPECT_EQ(copy(QV_ERR_DISKFULL),
              (Calls{{more, 10'000, 4096}, {QV_ERR_DISKFULL, 10'000, 4096}}));
    EXPECT_EQ(written(), 4196u) << "the count doesn't grow by a block that failed";
}

TEST_F(AsyncFaults, ACopyGoesOnWithoutASize)
{
    // Opening asks for a file's status too. The last three calls are those for the three blocks.
    copy(QV_OK);
    PlinthTestArm();
    copy(QV_OK);
    const unsigned calls = PlinthTestCalls("fstat");
    PlinthTestReset();
    PlinthTestFail("fstat", calls - 1, 1, EIO);
    EXPECT_EQ(copy(QV_OK), (Calls{{more, 10'000, 4096},
                                  {QV_ERR_FILESIZE, 0, 4096},
                                  {more, 0, 8192},
                                  {QV_OK, 10'000, 10'000}}));
    EXPECT_EQ(written(), 10'000u);
}

TEST_F(AsyncFaults, ACopyTakesWhatAFailedReadStillBrought)
{
    const size_t before = test::entries("/proc/self/fd");
    PlinthTestShorten("read", 2, 1, 1000);
    PlinthTestFail("read", 3, 1, EIO);
    EXPECT_EQ(
        copy(QV_OK),
        (Calls{{more, 10'000, 4096}, {QV_ERR_READFILE, 10'000, 4096}, {QV_OK, 10'000, 5096}}));
    EXPECT_EQ(test::read_file(native("b")), pattern(10'000).substr(0, 5096));
    PlinthTestReset();
    PlinthTestFail("read", 1, 1, EIO);
    EXPECT_EQ(copy(QV_OK), (Calls{{QV_ERR_READFILE, 10'000, 0}, {QV_OK, 10'000, 0}}));
    EXPECT_EQ(written(), 0u);
    EXPECT_EQ(test::entries("/proc/self/fd"), before);
}

// No worker is about, so that each submission needs a new thread.
TEST_F(AsyncFaults, WithoutAThreadNothingStartsAndNothingIsLeft)
{
    const size_t before = test::entries("/proc/self/fd");
    AsyncCalls calls;
    const QvAsyncIo io = calls.io();
    char byte = 0;
    OpenedFile file(path("a"), QV_OPEN_READ);
    g_create_error = EAGAIN;
    EXPECT_EQ(QV_ReadFile(file, &byte, 1, nullptr, &io), QV_ERR_SYSTEM);
    g_create_error = EAGAIN;
    EXPECT_EQ(QV_CopyFile(path("a"), path("b"), 0, nullptr, AsyncCalls::on_copy, &calls),
              QV_ERR_SYSTEM);
    file.close();
    PlinthTestFail("rename", 1, 1, EXDEV);
    g_create_error = EAGAIN;
    EXPECT_EQ(QV_MoveFile(path("a"), path("c"), 0, nullptr, AsyncCalls::on_copy, &calls),
              QV_ERR_SYSTEM);
    EXPECT_EQ(test::entries("/proc/self/fd"), before);
    EXPECT_EQ(calls.count(), 0u);
    EXPECT_EQ(transfer(false).back(), (test::AsyncCall{QV_OK, 0, 10'000})) << "the next has one";
}

TEST_F(AsyncFaults, WithoutMemoryNothingStartsAndNothingIsLeft)
{
    AsyncCalls calls;
    const QvAsyncIo io = calls.io();
    char byte = 0;
    OpenedFile file(path("a"), QV_OPEN_READ);
    const size_t before = test::entries("/proc/self/fd");
    int failures = 0;
    for (const bool copying : {false, true})
        for (int allowed = 0;; ++allowed)
        {
            const Wide source = path("a"), target = path("b");
            t_allocations_left = allowed;
            const int status =
                copying ? QV_CopyFile(source, target, 0, nullptr, AsyncCalls::on_copy, &calls)
                        : QV_ReadFile(file, &byte, 1, nullptr, &io);
            t_allocations_left = -1;
            if (status == QV_OK)
                break;
            ++failures;
            EXPECT_TRUE(status == QV_ERR_SYSTEM || status == QV_ERR_OPENFILE) << status;
            EXPECT_EQ(test::entries("/proc/self/fd"), before) << allowed;
            ASSERT_LT(allowed, 100);
        }
    EXPECT_GT(failures, 4);
    calls.wait_for(QV_OK);
    calls.wait_for_count(1 + 3); // of the read, of the copy
    test::wait_for_steps();
}

TEST_F(AsyncFaults, AMoveBetweenVolumesIsAnAsynchronousCopy)
{
    PlinthTestFail("rename", 1, 1, EXDEV);
    AsyncCalls calls;
    ASSERT_EQ(QV_MoveFile(path("a"), path("b"), 0, nullptr, AsyncCalls::on_copy, &calls), QV_OK);
    EXPECT_EQ(calls.wait().back(), (test::AsyncCall{QV_OK, 10'000, 10'000}));
    test::wait_for_steps();
    EXPECT_EQ(test::read_file(native("b")), pattern(10'000));
    EXPECT_EQ(test::read_file(native("a")), pattern(10'000)) << "the source stays";

    // Replacing goes on to its second move without waiting for the first one's copy.
    test::write_file(native("new"), "new");
    PlinthTestReset();
    PlinthTestFail("rename", 1, 1, EXDEV);
    AsyncCalls replacing(true);
    ASSERT_EQ(QV_ReplaceFile(path("new"), path("a"), path("backup"), nullptr, AsyncCalls::on_copy,
                             &replacing),
              QV_ERR_SHARING)
        << "the copy still has the target open";
    replacing.let_go();
    EXPECT_EQ(replacing.wait().back().status, QV_OK);
    test::wait_for_steps();
    EXPECT_EQ(test::read_file(native("backup")), pattern(10'000));
}

TEST_F(AsyncFaults, ATransferAfterAnotherHasTheSameWorker)
{
    hold_pauses(true);
    transfer(false);
    wait_for_pause();
    const int before = g_create_count;
    const size_t running = test::threads_here();
    AsyncCalls calls;
    const QvAsyncIo io = calls.io();
    char byte = 0;
    OpenedFile file(path("a"), QV_OPEN_READ);
    ASSERT_EQ(QV_ReadFile(file, &byte, 1, nullptr, &io), QV_OK);
    hold_pauses(false);
    EXPECT_EQ(calls.wait(), (Calls{{QV_OK, 0, 1}}));
    EXPECT_EQ(g_create_count, before);
    EXPECT_LE(test::threads_here(), running);
}

TEST_F(AsyncFaults, AnIdleWorkerEndsAfterTwentyShortPauses)
{
    std::thread([] {}).join(); // a sanitizer may start a thread of its own with the first
    const size_t before = test::threads_here();
    transfer(false);
    while (test::threads_here() > before)
        std::this_thread::yield();
    const std::lock_guard lock(g_mutex);
    EXPECT_EQ(g_pauses, 20);
    EXPECT_EQ(g_longest_pause, 5'000);
}

TEST_F(AsyncFaults, ABlockAllocatesNothing)
{
    AsyncCalls calls(true);
    const auto content = std::string(4096 * 64, 'x');
    test::write_file(native("a"), content);
    struct Counts
    {
        std::atomic<int> at_second{0};
        std::atomic<int> at_last{0};
        std::atomic<int> calls{0};
    } counts;
    ASSERT_EQ(QV_CopyFile(
                  path("a"), path("b"), 0, nullptr,
                  [](int status, uint64_t, uint64_t, void* context)
                  {
                      auto& seen = *static_cast<Counts*>(context);
                      if (++seen.calls == 2)
                          seen.at_second = g_allocations.load();
                      if (status != QV_ERR_INPROGRESS)
                      {
                          seen.at_last = g_allocations.load();
                          seen.at_last.notify_all();
                      }
                  },
                  &counts),
              QV_OK);
    counts.at_last.wait(0);
    EXPECT_EQ(counts.at_last, counts.at_second);
    EXPECT_EQ(counts.calls, 65);
    test::wait_for_steps();
}

} // namespace
