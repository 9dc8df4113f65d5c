// Many asynchronous transfers at once.
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "async_calls.h"
#include "support/files.h"
#include "support/soak.h"

using test::AsyncCalls;
using test::OpenedFile;
using test::Wide;

namespace
{

// Counts callbacks, and those that came when none was to come any more.
struct Counter
{
    static void on_io(int status, uint64_t, void* self)
    {
        auto& counter = *static_cast<Counter*>(self);
        ++counter.calls;
        counter.late += counter.cancelled.load();
        counter.ended += status != QV_ERR_INPROGRESS;
    }
    std::atomic<uint64_t> calls{0};
    std::atomic<uint64_t> late{0};
    std::atomic<uint64_t> ended{0};
    std::atomic<bool> cancelled{false};
};

TEST(AsyncConcurrent, AThousandTransfersInFlightAreCancelledWithoutAnotherCallback)
{
#if defined(__SANITIZE_THREAD__)
    constexpr size_t count = 300; // each submission looks at all workers, slowly here
#else
    constexpr size_t count = 1'000;
#endif
    constexpr size_t size = size_t{64} << 20; // far more than all but the first may get to
    const std::string folder = test::make_folder("thousand");
    {
        OpenedFile file(test::path_in(folder, "file"), QV_OPEN_WRITE | QV_OPEN_CREATE);
        ASSERT_EQ(QV_SeekFile(file, size, 0), QV_OK);
        ASSERT_EQ(QV_SetEOF(file), QV_OK);
    }
    const std::vector<char> buffer(size); // of zeroes, which all of them write to the same file
    std::vector<std::unique_ptr<OpenedFile>> files;
    std::vector<Counter> counters(count);
    for (size_t i = 0; i < count; ++i)
    {
        files.push_back(
            std::make_unique<OpenedFile>(test::path_in(folder, "file"), unsigned{QV_OPEN_WRITE}));
        ASSERT_EQ(files.back()->status(), QV_OK);
    }
    for (size_t i = 0; i < count; ++i)
    {
        const QvAsyncIo io = {0, &counters[i], Counter::on_io};
        ASSERT_EQ(QV_WriteFile(*files[i], buffer.data(), size, nullptr, &io), QV_OK);
    }
    size_t in_flight = 0;
    for (size_t i = 0; i < count; ++i)
    {
        EXPECT_EQ(QV_CancelAsyncIO(*files[i]), QV_OK);
        counters[i].cancelled = true;
        in_flight += counters[i].ended == 0;
    }
    for (const Counter& counter : counters)
        EXPECT_EQ(counter.late, 0u);
    EXPECT_GT(in_flight, count / 2) << "most were in flight";
}

// Copies, reads, writes and cancellations from several threads: each transfer ends once and moves
// its bytes. PLINTH_SOAK_SECONDS makes it go on for so long.
TEST(AsyncConcurrent, EachTransferEndsOnceWithItsBytes)
{
    constexpr int threads = 4;
    constexpr int rounds = 10;
    const std::string folder = test::make_folder("stress");
    const std::string content = test::pattern(50'000);
    test::write_file(folder + "/source", content);
    const test::SoakTime soak;
    std::atomic<uint64_t> total{0};
    do
    {
        std::vector<std::thread> callers;
        for (int caller = 0; caller < threads; ++caller)
            callers.emplace_back(
                [&, caller]
                {
                    const std::string name = "target" + std::to_string(caller);
                    const Wide source = test::path_in(folder, "source");
                    for (int round = 0; round < rounds; ++round)
                    {
                        AsyncCalls copying, reading, writing;
                        ASSERT_EQ(QV_CopyFile(source, test::path_in(folder, name), 0, nullptr,
                                              AsyncCalls::on_copy, &copying),
                                  QV_OK);
                        OpenedFile in(source, QV_OPEN_READ);
                        OpenedFile out(test::path_in(folder, name + "w"),
                                       QV_OPEN_WRITE | QV_OPEN_CREATE | QV_OPEN_ALWAYS);
                        OpenedFile dropped(source, QV_OPEN_READ);
                        std::string read(content.size(), '\0'), lost(content.size(), '\0');
                        Counter gone;
                        const QvAsyncIo readIo = reading.io(), writeIo = writing.io(),
                                        lostIo = {0, &gone, Counter::on_io};
                        ASSERT_EQ(QV_ReadFile(in, read.data(), read.size(), nullptr, &readIo),
                                  QV_OK);
                        ASSERT_EQ(QV_ReadFile(dropped, lost.data(), lost.size(), nullptr, &lostIo),
                                  QV_OK);
                        ASSERT_EQ(
                            QV_WriteFile(out, content.data(), content.size(), nullptr, &writeIo),
                            QV_OK);
                        ASSERT_EQ(QV_CancelAsyncIO(dropped), QV_OK);
                        gone.cancelled = true;
                        const test::AsyncCall all = {QV_OK, 0, content.size()};
                        EXPECT_EQ(reading.wait().back(), all);
                        EXPECT_EQ(writing.wait().back(), all);
                        EXPECT_EQ(copying.wait().back(),
                                  (test::AsyncCall{QV_OK, content.size(), content.size()}));
                        test::wait_for_steps();
                        EXPECT_EQ(reading.count(), 13u);
                        EXPECT_EQ(read, content);
                        EXPECT_EQ(test::read_file(folder + "/" + name), content);
                        EXPECT_EQ(test::read_file(folder + "/" + name + "w"), content);
                        EXPECT_EQ(gone.late, 0u);
                        EXPECT_LE(gone.ended, 1u);
                        total += 4;
                    }
                });
        for (std::thread& caller : callers)
            caller.join();
    } while (soak.goes_on() && !testing::Test::HasFailure());
    soak.report("transfers", total);
}

} // namespace
