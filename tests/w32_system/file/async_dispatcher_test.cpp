// Who gets a request, by a dispatcher of the tests' own: its lock shows who waits, and it has a
// limit, which the library's hasn't.
#include <list>
#include <memory>

#include "async_calls.h"
#include "file/async_dispatcher.h"
#include "folder.h"

using test::AsyncCalls;

namespace
{

struct AsyncDispatcher : test::InFolder
{
    // A read of so many blocks from a file of its own.
    struct Read
    {
        Read(AsyncDispatcher& of, const char* name, size_t blocks, bool held)
            : test(of), buffer(blocks * QV_ASYNC_BLOCK_SIZE), calls(held),
              file(of.path(name), QV_OPEN_READ | QV_OPEN_WRITE | QV_OPEN_CREATE)
        {
            EXPECT_EQ(QV_WriteFile(file, buffer.data(), buffer.size(), nullptr, nullptr), QV_OK);
        }
        void submit(int expected = QV_OK)
        {
            EXPECT_EQ(test.dispatcher->Submit(std::make_unique<QvAsyncRequest>(
                          QV_ASYNC_READ, buffer.data(), file, buffer.size(), calls.io())),
                      expected);
        }
        AsyncDispatcher& test;
        std::vector<char> buffer;
        AsyncCalls calls;
        test::OpenedFile file;
    };

    AsyncDispatcher() { EXPECT_EQ(pthread_mutexCS_init(&lock, nullptr), 0); }
    ~AsyncDispatcher() override
    {
        for (Read& each : reads)
            each.calls.let_go();
        EXPECT_TRUE(dispatcher->Stop(-1, true));
        dispatcher.reset();
        pthread_mutexCS_destroy(&lock);
    }

    void start(uint32_t limit) { dispatcher = std::make_unique<QvAsyncDispatcher>(lock, limit); }
    Read& read(const char* name, size_t blocks, bool held)
    {
        return reads.emplace_back(*this, name, blocks, held);
    }

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
    // Submits the second while the first is in its first callback, which ends then.
    void submit_both(Read& first, Read& second)
    {
        first.submit();
        first.calls.wait_for_count(1);
        std::thread submitter = until_it_waits([&] { second.submit(); });
        first.calls.step();
        submitter.join();
    }

    pthread_mutexCS_t lock = nullptr;
    std::unique_ptr<QvAsyncDispatcher> dispatcher;
    std::list<Read> reads; // where they are they stay until the workers have ended
};

TEST_F(AsyncDispatcher, AtTheLimitTransfersTakeTurnsBlockByBlock)
{
    start(1);
    Read &first = read("first", 4, true), &second = read("second", 4, false);
    std::string order;
    first.calls.act = [&] { order += 'a'; };
    second.calls.act = [&] { order += 'b'; };
    submit_both(first, second);
    first.calls.let_go();
    first.calls.wait();
    second.calls.wait();
    EXPECT_EQ(order, "aabababb");
    EXPECT_EQ(first.calls.thread(), second.calls.thread());
}

TEST_F(AsyncDispatcher, BeyondTheLimitTheShortestQueueGetsIt)
{
    start(2);
    Read &first = read("first", 10, true), &second = read("second", 10, true);
    Read &third = read("third", 3, false), &fourth = read("fourth", 3, false);
    submit_both(first, second);
    second.calls.wait_for_count(1);
    first.calls.wait_for_count(2);
    const std::thread::id one = first.calls.thread(), other = second.calls.thread();
    EXPECT_NE(one, other) << "below the limit: a new worker";
    // Each worker is in a callback when a submission comes, and has one more step when that has
    // seen both queues: it waits in between, as it is wanted. So the queues hold still meanwhile.
    std::thread submitter = until_it_waits([&] { third.submit(); });
    first.calls.step();
    second.calls.step();
    submitter.join();
    first.calls.wait_for_count(3);
    second.calls.wait_for_count(2);
    // One of them has two transfers now.
    submitter = until_it_waits([&] { fourth.submit(); });
    first.calls.let_go();
    second.calls.let_go();
    submitter.join();
    for (Read& each : reads)
    {
        EXPECT_EQ(each.calls.wait().back().status, QV_OK);
        EXPECT_TRUE(each.calls.thread() == one || each.calls.thread() == other);
    }
    EXPECT_NE(third.calls.thread(), fourth.calls.thread()) << "at the limit: the shorter queue";
}

TEST_F(AsyncDispatcher, CancellationTakesOutWhatWaitsAndLeavesTheOthersTheirTurns)
{
    start(1);
    Read &held = read("held", 3, true), &gone = read("gone", 3, false);
    submit_both(held, gone);
    held.calls.wait_for_count(2); // the queue: this one, under way, and the one that is to go
    std::thread canceller = until_it_waits([&] { dispatcher->Cancel(gone.file); });
    held.calls.let_go();
    canceller.join();
    EXPECT_EQ(held.calls.wait().back(), (test::AsyncCall{QV_OK, 0, held.buffer.size()}));
    EXPECT_TRUE(dispatcher->Stop(-1, true));
    EXPECT_EQ(gone.calls.count(), 0u) << "no callback at all";
}

TEST_F(AsyncDispatcher, StopEndsTransfersAfterTheirBlockAndRefusesNewOnes)
{
    start(0); // no limit: a thread for each
    Read &first = read("first", 1000, true), &second = read("second", 1000, true);
    submit_both(first, second);
    second.calls.wait_for_count(1);
    EXPECT_NE(first.calls.thread(), second.calls.thread());
    EXPECT_FALSE(dispatcher->Stop(0, true)) << "the workers are in callbacks";
    second.calls.let_go();
    first.calls.let_go();
    EXPECT_TRUE(dispatcher->Stop(-1, true));
    second.submit(QV_ERR_SYSTEM);
    EXPECT_EQ(second.calls.count(), 1u);
}

} // namespace
