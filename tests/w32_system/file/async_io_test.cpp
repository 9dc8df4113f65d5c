// Asynchronous reads, writes and copies, as their callers see them, and many at the same time.
#include <algorithm>
#include <atomic>
#include <deque>
#include <tuple>

#include "async_calls.h"
#include "folder.h"
#include "support/soak.h"

using test::AsyncCalls;
using test::Calls;
using test::more;
using test::OpenedFile;
using test::pattern;
using test::transfer;
using test::wait_for_steps;

namespace
{

struct AsyncIo : test::InFolder
{
    int copy(AsyncCalls& calls, int fail_if_exists = 0, const volatile uint32_t* proceed = nullptr)
    {
        return calls.copy(path("a"), path("b"), fail_if_exists, proceed);
    }
};

TEST_F(AsyncIo, AReadCallsBackAfterEachBlockUntilItHasAllOrTheFileEnds)
{
    const std::string bytes = pattern(12'000);
    make("a", bytes);
    OpenedFile file(path("a"), QV_OPEN_READ);
    const std::tuple<size_t, size_t, Calls> rows[] = {
        {1'000, 10'000, {{more, 0, 4096}, {more, 0, 8192}, {QV_OK, 0, 10'000}}},
        {7'000, 20'000, {{more, 0, 4096}, {more, 0, 5'000}, {QV_OK, 0, 5'000}}},
        {1'000'000, 10, {{QV_OK, 0, 0}}},
        {0, 0, {{QV_OK, 0, 0}}},
    };
    for (const auto& [offset, size, calls] : rows)
    {
        std::string buffer(size, '\0');
        EXPECT_EQ(transfer(false, file, buffer.data(), size, offset), calls);
        const size_t done = calls.back().done;
        EXPECT_EQ(buffer.substr(0, done), bytes.substr(std::min(offset, bytes.size()), done))
            << offset;
    }
    // A bad file or offset is reported by the callback.
    char byte = 0;
    const Calls failed_seek = {{QV_ERR_SEEKFILE, 0, 0}};
    EXPECT_EQ(transfer(false, file, &byte, 1, UINT64_MAX - 3), failed_seek);
    EXPECT_EQ(transfer(false, nullptr, &byte, 1), failed_seek);
    EXPECT_EQ(transfer(true, file, &byte, 1), (Calls{{QV_ERR_WRITEFILE, 0, 0}}))
        << "opened for reading only";
}

TEST_F(AsyncIo, AWriteGoesToItsOffsetWhateverThePositionIs)
{
    std::string bytes = pattern(10'000);
    OpenedFile file(path("a"), QV_OPEN_WRITE | QV_OPEN_CREATE);
    ASSERT_EQ(QV_WriteFile(file, "head", 4, nullptr, nullptr), QV_OK);
    ASSERT_EQ(QV_SeekFile(file, 0, 0), QV_OK);
    EXPECT_EQ(transfer(true, file, bytes.data(), bytes.size(), 4),
              (Calls{{more, 0, 4096}, {more, 0, 8192}, {QV_OK, 0, 10'000}}));
    EXPECT_EQ(transfer(true, file, nullptr, 0), (Calls{{QV_OK, 0, 0}}));
    EXPECT_EQ(content("a"), "head" + bytes);
    const QvAsyncIo silent = {10'004, nullptr, nullptr};
    ASSERT_EQ(QV_WriteFile(file, "tail", 4, nullptr, &silent), QV_OK);
    while (content("a") != "head" + bytes + "tail")
        std::this_thread::yield();
}

TEST_F(AsyncIo, ACopyCallsBackAfterEachBlockAndAtTheEnd)
{
    const Calls rows[] = {
        {{QV_OK, 0, 0}},
        {{more, 8'192, 4096}, {more, 8'192, 8192}, {QV_OK, 8'192, 8'192}},
        {{more, 10'000, 4096}, {more, 10'000, 8192}, {QV_OK, 10'000, 10'000}},
    };
    for (const Calls& expected : rows)
    {
        const std::string bytes = pattern(expected.back().size);
        make("a", bytes);
        AsyncCalls calls;
        ASSERT_EQ(copy(calls), QV_OK);
        EXPECT_EQ(calls.wait(), expected);
        wait_for_steps();
        EXPECT_EQ(content("b"), bytes);
        EXPECT_EQ(copy(calls, 1), QV_ERR_OPENFILE) << "the target exists";
        EXPECT_EQ(QV_RemoveFile(path("a"), 1), QV_OK) << "both files are closed by then";
        EXPECT_EQ(QV_RemoveFile(path("b"), 1), QV_OK);
        EXPECT_EQ(copy(calls), QV_ERR_OPENFILE) << "no source";
        EXPECT_FALSE(exists("b"));
        EXPECT_EQ(calls.count(), expected.size());
    }
}

TEST_F(AsyncIo, TheProceedWordStopsACopyBehindAFullBlock)
{
    alignas(4) uint32_t proceed = 0;
    make("a", pattern(10'000));
    AsyncCalls stopped, small, held(true);
    ASSERT_EQ(copy(stopped, 0, &proceed), QV_OK);
    EXPECT_EQ(stopped.wait_for(QV_ERR_CANCELLED),
              (Calls{{more, 10'000, 4096}, {QV_ERR_CANCELLED, 10'000, 4096}}));
    wait_for_steps();
    EXPECT_EQ(content("b"), pattern(4096)) << "it stays";

    make("a", pattern(4'000));
    ASSERT_EQ(copy(small, 0, &proceed), QV_OK);
    EXPECT_EQ(small.wait(), (Calls{{QV_OK, 4'000, 4'000}})) << "the word is never looked at";

    proceed = 1;
    make("a", pattern(100'000));
    ASSERT_EQ(copy(held, 0, &proceed), QV_OK);
    held.step();
    held.wait_for_count(2);
    std::atomic_ref(proceed).store(0);
    held.let_go();
    EXPECT_EQ(
        held.wait_for(QV_ERR_CANCELLED),
        (Calls{{more, 100'000, 4096}, {more, 100'000, 8192}, {QV_ERR_CANCELLED, 100'000, 8192}}));
    wait_for_steps();
}

TEST_F(AsyncIo, ACallbackMayNeitherStartNorCancelATransfer)
{
    make("a", pattern(100));
    OpenedFile file(path("a"), QV_OPEN_READ);
    char buffer[100];
    AsyncCalls calls;
    std::vector<int> answers;
    calls.act = [&]
    {
        answers = {calls.read(nullptr, buffer, 1), calls.copy(path("a"), path("c")),
                   QV_CancelAsyncIO(nullptr)};
    };
    ASSERT_EQ(calls.read(file, buffer, sizeof buffer), QV_OK);
    EXPECT_EQ(calls.wait(), (Calls{{QV_OK, 0, 100}}));
    wait_for_steps();
    EXPECT_EQ(answers, std::vector<int>(3, QV_ERR_SYSTEM));
    EXPECT_FALSE(exists("c")) << "the target was not made";
}

using AsyncConcurrent = test::InFolder;

// Counts the final callbacks, and those that came after the cancellation.
struct Counter
{
    static void on_io(int status, uint64_t, void* self)
    {
        auto& counter = *static_cast<Counter*>(self);
        counter.late += counter.cancelled.load();
        counter.ended += status != QV_ERR_INPROGRESS;
    }
    const QvAsyncIo io = {0, this, on_io};
    std::atomic<uint64_t> late{0}, ended{0};
    std::atomic<bool> cancelled{false};
};

TEST_F(AsyncConcurrent, AThousandTransfersInFlightAreCancelledWithoutAnotherCallback)
{
#if defined(__SANITIZE_THREAD__)
    constexpr size_t count = 300; // each submission looks at all workers, which is slow here
#else
    constexpr size_t count = 1'000;
#endif
    constexpr size_t size = size_t{64} << 20; // so that hardly any but the first finishes
    make("file");
    std::filesystem::resize_file(native("file"), size);
    const std::vector<char> buffer(size); // shared by all writers
    std::deque<OpenedFile> files;
    std::deque<Counter> counters(count);
    for (size_t i = 0; i < count; ++i)
        ASSERT_EQ(files.emplace_back(path("file"), QV_OPEN_WRITE).status(), QV_OK);
    for (size_t i = 0; i < count; ++i)
        ASSERT_EQ(QV_WriteFile(files[i], buffer.data(), size, nullptr, &counters[i].io), QV_OK);
    size_t in_flight = 0;
    for (size_t i = 0; i < count; ++i)
    {
        EXPECT_EQ(QV_CancelAsyncIO(files[i]), QV_OK);
        counters[i].cancelled = true;
        in_flight += counters[i].ended == 0;
    }
    for (const Counter& counter : counters)
        EXPECT_EQ(counter.late, 0u);
    EXPECT_GT(in_flight, count / 2) << "most were in flight";
    for (const QvFile none : {QvFile(files[0]), QvFile(INVALID_HANDLE_VALUE)})
        EXPECT_EQ(QV_CancelAsyncIO(none), QV_OK) << "nothing to cancel is no failure";
}

// Copies, reads, writes and cancellations from several threads: each transfer ends once and moves
// its bytes. Repeats for PLINTH_SOAK_SECONDS.
TEST_F(AsyncConcurrent, EachTransferEndsOnceWithItsBytes)
{
    constexpr int threads = 4;
    constexpr int rounds = 10;
    const std::string bytes = pattern(50'000);
    make("source", bytes);
    const auto transfers = [&](const std::string& name)
    {
        AsyncCalls copying, reading, writing;
        ASSERT_EQ(copying.copy(path("source"), path(name)), QV_OK);
        OpenedFile in(path("source"), QV_OPEN_READ), dropped(path("source"), QV_OPEN_READ);
        OpenedFile out(path(name + "w"), QV_OPEN_WRITE | QV_OPEN_CREATE | QV_OPEN_ALWAYS);
        std::string read(bytes.size(), '\0'), lost(bytes.size(), '\0');
        Counter gone;
        const QvAsyncIo write_io = writing.io();
        ASSERT_EQ(reading.read(in, read.data(), read.size()), QV_OK);
        ASSERT_EQ(QV_ReadFile(dropped, lost.data(), lost.size(), nullptr, &gone.io), QV_OK);
        ASSERT_EQ(QV_WriteFile(out, bytes.data(), bytes.size(), nullptr, &write_io), QV_OK);
        ASSERT_EQ(QV_CancelAsyncIO(dropped), QV_OK);
        gone.cancelled = true;
        const test::AsyncCall all = {QV_OK, 0, bytes.size()};
        EXPECT_EQ(reading.wait().back(), all);
        EXPECT_EQ(writing.wait().back(), all);
        EXPECT_EQ(copying.wait().back(), (test::AsyncCall{QV_OK, bytes.size(), bytes.size()}));
        test::wait_for_steps();
        EXPECT_EQ(reading.count(), 13u);
        EXPECT_EQ(read, bytes);
        EXPECT_EQ(content(name), bytes);
        EXPECT_EQ(content(name + "w"), bytes);
        EXPECT_EQ(gone.late, 0u);
        EXPECT_LE(gone.ended, 1u);
    };
    const test::SoakTime soak;
    uint64_t total = 0;
    do
    {
        std::vector<std::thread> callers;
        for (int caller = 0; caller < threads; ++caller)
            callers.emplace_back(
                [&, name = "target" + std::to_string(caller)]
                {
                    for (int round = 0; round < rounds; ++round)
                        transfers(name);
                });
        for (std::thread& caller : callers)
            caller.join();
        total += threads * rounds * 4;
    } while (soak.goes_on() && !HasFailure());
    soak.report("transfers", total);
}

} // namespace
