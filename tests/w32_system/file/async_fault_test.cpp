// Failures below asynchronous transfers, and idle workers. This program's own definitions replace
// the functions that the library calls for its threads.
#include <atomic>
#include <cerrno>
#include <tuple>

#include <plinth_w32_pthreadVC.h>

#include "async_calls.h"
#include "folder.h"
#include "support/entries.h"
#include "support/faults.h"
#include "support/instead.h"
#include "support/scarce_memory.h"

using test::AsyncCalls;
using test::Calls;
using test::more;
using test::OpenedFile;
using test::pattern;
using test::transfer;

namespace
{

std::atomic<int> g_create_error{0};

// Pauses of idle workers. While held, they don't end.
std::atomic<bool> g_pauses_held{false};
std::atomic<int> g_pauses{0};

} // namespace

TEST_INSTEAD int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                void* (*start)(void*), void* argument)
{
    if (const int error = g_create_error.exchange(0))
        return error;
    return TEST_REAL(pthread_create)(thread, attributes, start, argument);
}

TEST_INSTEAD int pthread_delay_np(const timespec* interval)
{
    ++g_pauses;
    g_pauses.notify_all();
    g_pauses_held.wait(true);
    return TEST_REAL(pthread_delay_np)(interval);
}

namespace
{

constexpr size_t size = 10'000; // two blocks and a part of one

struct AsyncFaults : test::InFolder
{
    AsyncFaults() { make("a", pattern(size)); }
    ~AsyncFaults() override { PlinthTestReset(); }
    static size_t descriptors() { return test::entries("/proc/self/fd"); }

    // The callbacks of a read or write of the whole file.
    Calls transfer_all(bool writing)
    {
        OpenedFile file(path("a"), QV_OPEN_READ | QV_OPEN_WRITE);
        std::string buffer = pattern(size);
        return transfer(writing, file, buffer.data(), size);
    }
    // The callbacks of a copy of the file to "b", up to the status.
    Calls copy(int last)
    {
        AsyncCalls calls;
        const int status = calls.copy(path("a"), path("b"));
        if (status != QV_OK)
            return {{status, 0, 77}};
        const Calls seen = calls.wait_for(last);
        test::wait_for_steps();
        return seen;
    }
    // The callbacks of a transfer whose nth block fails.
    static Calls until(unsigned nth, int status, uint64_t copied_size)
    {
        Calls expected;
        for (unsigned block = 1; block < nth; ++block)
            expected.push_back({more, copied_size, block * 4096});
        expected.push_back({status, copied_size, (nth - 1) * 4096});
        return expected;
    }
};

TEST_F(AsyncFaults, ATransferEndsAtTheBlockWhoseSeekReadOrWriteFails)
{
    const size_t before = descriptors();
    const std::tuple<char, const char*, int, int> rows[] = {
        {'r', "lseek", EIO, QV_ERR_SEEKFILE},    {'w', "lseek", EIO, QV_ERR_SEEKFILE},
        {'r', "read", EIO, QV_ERR_READFILE},     {'w', "write", EIO, QV_ERR_WRITEFILE},
        {'w', "write", ENOSPC, QV_ERR_DISKFULL}, {'c', "write", EIO, QV_ERR_WRITEFILE}};
    for (unsigned nth = 1; nth <= 3; ++nth)
        for (const auto& [kind, operation, error, status] : rows)
        {
            SCOPED_TRACE(testing::Message() << kind << operation << error << " " << nth);
            const bool copies = kind == 'c';
            PlinthTestFail(operation, nth, 1, error);
            EXPECT_EQ(copies ? copy(status) : transfer_all(kind == 'w'),
                      until(nth, status, copies ? size : 0));
            PlinthTestReset();
            EXPECT_EQ(content("b").size(), copies ? (nth - 1) * 4096 : 0)
                << "what was written stays";
            EXPECT_EQ(descriptors(), before);
            std::filesystem::remove(native("b"));
        }
    PlinthTestShorten("write", 2, 1, 100); // a part of the second block, then failures
    PlinthTestFail("write", 3, 1, ENOSPC);
    EXPECT_EQ(copy(QV_ERR_DISKFULL), until(2, QV_ERR_DISKFULL, size));
    EXPECT_EQ(content("b").size(), 4196u) << "the count doesn't grow by a block that failed";
}

TEST_F(AsyncFaults, ACopyGoesOnWhereNoRoomCanBeReserved)
{
    const std::string bytes = pattern((size_t{2} << 20) + 100);
    make("a", bytes);
    for (const int error : {ENOSPC, EOPNOTSUPP})
    {
        EXPECT_EQ(test::with_fault("fallocate", 1, 2, error, [&] { return copy(QV_OK); }).back(),
                  (test::AsyncCall{QV_OK, bytes.size(), bytes.size()}));
        EXPECT_EQ(content("b"), bytes);
    }
}

TEST_F(AsyncFaults, ACopyGoesOnWithoutASize)
{
    // Opening also asks for a file's status. The last three calls are those for the three blocks.
    copy(QV_OK);
    PlinthTestArm();
    copy(QV_OK);
    const unsigned calls = PlinthTestCalls("fstat");
    PlinthTestReset();
    PlinthTestFail("fstat", calls - 1, 1, EIO);
    EXPECT_EQ(
        copy(QV_OK),
        (Calls{
            {more, size, 4096}, {QV_ERR_FILESIZE, 0, 4096}, {more, 0, 8192}, {QV_OK, size, size}}));
    EXPECT_EQ(content("b").size(), size);
}

TEST_F(AsyncFaults, ACopyTakesWhatAFailedReadStillBrought)
{
    const size_t before = descriptors();
    PlinthTestShorten("read", 2, 1, 1000);
    PlinthTestFail("read", 3, 1, EIO);
    EXPECT_EQ(copy(QV_OK),
              (Calls{{more, size, 4096}, {QV_ERR_READFILE, size, 4096}, {QV_OK, size, 5096}}));
    EXPECT_EQ(content("b"), pattern(5096));
    PlinthTestReset();
    EXPECT_EQ(test::with_fault("read", 1, 1, EIO, [&] { return copy(QV_OK); }),
              (Calls{{QV_ERR_READFILE, size, 0}, {QV_OK, size, 0}}));
    EXPECT_EQ(content("b"), "");
    EXPECT_EQ(descriptors(), before);
}

// Without any worker, so that each submission needs a new thread.
TEST_F(AsyncFaults, WithoutAThreadNothingStartsAndNothingIsLeft)
{
    const size_t before = descriptors();
    AsyncCalls calls;
    char byte = 0;
    {
        OpenedFile file(path("a"), QV_OPEN_READ);
        g_create_error = EAGAIN;
        EXPECT_EQ(calls.read(file, &byte, 1), QV_ERR_SYSTEM);
    }
    g_create_error = EAGAIN;
    EXPECT_EQ(calls.copy(path("a"), path("b")), QV_ERR_SYSTEM);
    PlinthTestFail("rename", 1, 1, EXDEV);
    g_create_error = EAGAIN;
    EXPECT_EQ(QV_MoveFile(path("a"), path("c"), 0, nullptr, AsyncCalls::on_copy, &calls),
              QV_ERR_SYSTEM);
    EXPECT_EQ(descriptors(), before);
    EXPECT_EQ(calls.count(), 0u);
    // With a thread, a move between volumes is a copy.
    PlinthTestReset();
    PlinthTestFail("rename", 1, 1, EXDEV);
    EXPECT_EQ(QV_MoveFile(path("a"), path("c"), 0, nullptr, AsyncCalls::on_copy, &calls), QV_OK);
    EXPECT_EQ(calls.wait().back(), (test::AsyncCall{QV_OK, size, size}));
    test::wait_for_steps();
    EXPECT_EQ(content("a"), content("c")) << "the source stays";
}

TEST_F(AsyncFaults, WithoutMemoryNothingStartsAndNothingIsLeft)
{
    AsyncCalls calls;
    char byte = 0;
    OpenedFile file(path("a"), QV_OPEN_READ);
    const test::Wide source = path("a"), target = path("b");
    const size_t before = descriptors();
    int failures = 0;
    for (const bool copying : {false, true})
        for (unsigned nth = 1;; ++nth, ++failures)
        {
            ASSERT_LT(nth, 100u);
            test::t_failing_allocation = nth;
            const int status = copying ? calls.copy(source, target) : calls.read(file, &byte, 1);
            test::t_failing_allocation = 0;
            if (status == QV_OK)
                break;
            EXPECT_TRUE(status == QV_ERR_SYSTEM || status == QV_ERR_OPENFILE) << status;
            EXPECT_EQ(descriptors(), before) << nth;
        }
    EXPECT_GT(failures, 4);
    calls.wait_for(QV_OK);
    calls.wait_for_count(1 + 3); // of the read and of the copy
    test::wait_for_steps();
}

TEST_F(AsyncFaults, AnIdleWorkerTakesTheNextTransferAndEndsAfterTwentyPauses)
{
    std::thread([] {}).join(); // a sanitizer may start its own thread with the first one
    const size_t before = test::threads_here();
    g_pauses_held = true;
    transfer_all(false);
    g_pauses.wait(0);
    AsyncCalls calls;
    char byte = 0;
    OpenedFile file(path("a"), QV_OPEN_READ);
    g_create_error = EAGAIN; // no other worker can start
    EXPECT_EQ(calls.read(file, &byte, 1), QV_OK);
    g_pauses_held = false;
    g_pauses_held.notify_all();
    EXPECT_EQ(calls.wait(), (Calls{{QV_OK, 0, 1}}));
    while (test::threads_here() > before)
        std::this_thread::yield();
    EXPECT_EQ(g_pauses, 1 + 20);
}

} // namespace
