// Who gets a request, by a dispatcher of the tests' own: its lock shows who waits, and it has a
// limit, which the library's hasn't.
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "async_calls.h"
#include "file/async_dispatcher.h"
#include "support/files.h"

using test::AsyncCalls;
using test::OpenedFile;

namespace
{

class AsyncDispatcher : public testing::TestWithParam<uint32_t>
{
protected:
    AsyncDispatcher() { EXPECT_EQ(pthread_mutexCS_init(&lock, nullptr), 0); }
    ~AsyncDispatcher() override
    {
        dispatcher.reset();
        pthread_mutexCS_destroy(&lock);
    }

    void start(uint32_t limit) { dispatcher = std::make_unique<QvAsyncDispatcher>(lock, limit); }

    // A read of so many blocks from a file of its own.
    struct Read
    {
        Read(AsyncDispatcher& test, const char* name, size_t blocks, bool held)
            : buffer(blocks * QV_ASYNC_BLOCK_SIZE), calls(held),
              file(test::path_in(test.folder, name), QV_OPEN_READ | QV_OPEN_WRITE | QV_OPEN_CREATE)
        {
            EXPECT_EQ(QV_WriteFile(file, buffer.data(), buffer.size(), nullptr, nullptr), QV_OK);
        }
        int submit_to(QvAsyncDispatcher& to)
        {
            return to.Submit(std::make_unique<QvAsyncRequest>(QV_ASYNC_READ, buffer.data(), file,
                                                              buffer.size(), calls.io()));
        }
        std::vector<char> buffer;
        AsyncCalls calls;
        OpenedFile file;
    };

    // Runs the work on another thread and returns when that holds the dispatcher's lock and waits
    // with it for a worker in a callback. A worker that is held in one doesn't take this lock.
    template <class Work> std::thread until_it_waits(Work work)
    {
        std::thread thread(work);
        while (pthread_mutexCS_trylock(&lock) == 0)
        {
            pthread_mutexCS_unlock(&lock);
            std::this_thread::yield();
        }
        return thread;
    }

    const std::string folder = test::make_folder("dispatcher");
    pthread_mutexCS_t lock = nullptr;
    std::unique_ptr<QvAsyncDispatcher> dispatcher;
};

// Which transfer's callback came, in order.
struct Order
{
    struct One
    {
        Order* order;
        char name;
        AsyncCalls* calls;
    };
    static void on_io(int status, uint64_t done, void* context)
    {
        auto& one = *static_cast<One*>(context);
        one.order->names += one.name; // callbacks of one worker come one after the other
        AsyncCalls::on_io(status, done, one.calls);
    }
    std::string names;
};

TEST_F(AsyncDispatcher, AtTheLimitTransfersTakeTurnsBlockByBlock)
{
    start(1);
    Read first(*this, "first", 4, true), second(*this, "second", 4, false);
    Order order;
    Order::One a{&order, 'a', &first.calls}, b{&order, 'b', &second.calls};
    const auto request = [](Read& read, Order::One& one)
    {
        return std::make_unique<QvAsyncRequest>(QV_ASYNC_READ, read.buffer.data(), read.file,
                                                read.buffer.size(),
                                                QvAsyncIo{0, &one, Order::on_io});
    };
    ASSERT_EQ(dispatcher->Submit(request(first, a)), QV_OK);
    first.calls.wait_for_count(1);
    std::thread submitter =
        until_it_waits([&] { EXPECT_EQ(dispatcher->Submit(request(second, b)), QV_OK); });
    first.calls.let_go();
    submitter.join();
    first.calls.wait();
    second.calls.wait();
    EXPECT_EQ(order.names, "aabababb");
    EXPECT_EQ(first.calls.thread(), second.calls.thread());
    EXPECT_TRUE(dispatcher->Stop(-1, true));
}

TEST_F(AsyncDispatcher, BeyondTheLimitTheShortestQueueGetsIt)
{
    start(2);
    Read first(*this, "first", 10, true), second(*this, "second", 10, true);
    Read third(*this, "third", 3, false), fourth(*this, "fourth", 3, false);
    ASSERT_EQ(first.submit_to(*dispatcher), QV_OK);
    first.calls.wait_for_count(1);
    std::thread submitter =
        until_it_waits([&] { EXPECT_EQ(second.submit_to(*dispatcher), QV_OK); });
    first.calls.step();
    submitter.join();
    second.calls.wait_for_count(1);
    first.calls.wait_for_count(2);
    const std::thread::id one = first.calls.thread(), other = second.calls.thread();
    EXPECT_NE(one, other) << "below the limit: a new worker";
    // Each worker is in a callback when a submission comes, and has one more step when that has
    // seen both queues: it waits in between, as it is wanted. So the queues hold still meanwhile.
    submitter = until_it_waits([&] { EXPECT_EQ(third.submit_to(*dispatcher), QV_OK); });
    first.calls.step();
    second.calls.step();
    submitter.join();
    first.calls.wait_for_count(3);
    second.calls.wait_for_count(2);
    // One of them has two transfers now.
    submitter = until_it_waits([&] { EXPECT_EQ(fourth.submit_to(*dispatcher), QV_OK); });
    first.calls.let_go();
    second.calls.let_go();
    submitter.join();
    for (Read* const read : {&first, &second, &third, &fourth})
    {
        EXPECT_EQ(read->calls.wait().back().status, QV_OK);
        EXPECT_TRUE(read->calls.thread() == one || read->calls.thread() == other);
    }
    EXPECT_NE(third.calls.thread(), fourth.calls.thread()) << "at the limit: the shorter queue";
    EXPECT_TRUE(dispatcher->Stop(-1, true));
}

TEST_F(AsyncDispatcher, WithoutALimitEachTransferInFlightHasAThread)
{
    start(0);
    Read first(*this, "first", 3, true), second(*this, "second", 3, true);
    ASSERT_EQ(first.submit_to(*dispatcher), QV_OK);
    first.calls.wait_for_count(1);
    std::thread submitter =
        until_it_waits([&] { EXPECT_EQ(second.submit_to(*dispatcher), QV_OK); });
    first.calls.step();
    submitter.join();
    second.calls.wait_for_count(1);
    EXPECT_NE(first.calls.thread(), second.calls.thread());
    first.calls.let_go();
    second.calls.let_go();
    first.calls.wait();
    second.calls.wait();
    EXPECT_TRUE(dispatcher->Stop(-1, true));
}

TEST_F(AsyncDispatcher, CancellationTakesOutWhatWaitsAndLeavesTheOthersTheirTurns)
{
    start(1);
    Read held(*this, "held", 3, true), gone(*this, "gone", 3, false);
    ASSERT_EQ(held.submit_to(*dispatcher), QV_OK);
    held.calls.wait_for_count(1);
    std::thread submitter = until_it_waits([&] { EXPECT_EQ(gone.submit_to(*dispatcher), QV_OK); });
    held.calls.step();
    submitter.join();
    held.calls.wait_for_count(2); // the queue: this one, under way, and the one that is to go
    std::thread canceller = until_it_waits([&] { dispatcher->Cancel(gone.file); });
    held.calls.let_go();
    canceller.join();
    EXPECT_EQ(held.calls.wait().back(), (test::AsyncCall{QV_OK, 0, held.buffer.size()}));
    EXPECT_TRUE(dispatcher->Stop(-1, true));
    EXPECT_EQ(gone.calls.count(), 0u) << "no callback at all";
}

TEST_F(AsyncDispatcher, StopEndsTransfersBehindTheirBlockAndRefusesNewOnes)
{
    start(0);
    Read read(*this, "read", 1000, true);
    ASSERT_EQ(read.submit_to(*dispatcher), QV_OK);
    read.calls.wait_for_count(1);
    EXPECT_FALSE(dispatcher->Stop(0, true)) << "the worker is in a callback";
    read.calls.let_go();
    EXPECT_TRUE(dispatcher->Stop(-1, true));
    EXPECT_EQ(read.calls.count(), 1u);
    EXPECT_EQ(read.submit_to(*dispatcher), QV_ERR_SYSTEM);
    EXPECT_EQ(read.calls.count(), 1u);
}

} // namespace
