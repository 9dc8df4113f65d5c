// Asynchronous reads, writes and copies, as their callers see them.
#include <atomic>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "async_calls.h"
#include "support/files.h"

using test::AsyncCalls;
using test::OpenedFile;
using test::pattern;
using test::wait_for_steps;
using test::Wide;

namespace
{

using Calls = std::vector<test::AsyncCall>;
constexpr int more = QV_ERR_INPROGRESS;

class AsyncIo : public testing::Test
{
protected:
    Wide path(const std::string& name) const { return test::path_in(m_folder, name); }
    std::string native(const std::string& name) const { return m_folder + "/" + name; }
    int copy(AsyncCalls& calls, int failIfExists = 0, const volatile uint32_t* proceed = nullptr)
    {
        return QV_CopyFile(path("a"), path("b"), failIfExists, proceed, AsyncCalls::on_copy,
                           &calls);
    }
    std::string m_folder = test::make_folder("async");
};

TEST_F(AsyncIo, AReadCallsBackAfterEachBlock)
{
    const std::string content = pattern(12'000);
    test::write_file(native("a"), content);
    OpenedFile file(path("a"), QV_OPEN_READ);
    std::string buffer(10'000, '\0');
    AsyncCalls calls;
    const QvAsyncIo io = calls.io(1'000);
    uint64_t done = 77;
    ASSERT_EQ(QV_ReadFile(file, buffer.data(), buffer.size(), &done, &io), QV_OK);
    EXPECT_EQ(calls.wait(), (Calls{{more, 0, 4096}, {more, 0, 8192}, {QV_OK, 0, 10'000}}));
    EXPECT_EQ(done, 77u) << "the outcome goes to the callback alone";
    EXPECT_EQ(buffer, content.substr(1'000, 10'000));
}

TEST_F(AsyncIo, AReadPastTheEndFinishesWithTheBytesItGot)
{
    const std::string content = pattern(5'000);
    test::write_file(native("a"), content);
    OpenedFile file(path("a"), QV_OPEN_READ);
    std::string buffer(20'000, '\0');
    {
        AsyncCalls calls;
        const QvAsyncIo io = calls.io();
        ASSERT_EQ(QV_ReadFile(file, buffer.data(), buffer.size(), nullptr, &io), QV_OK);
        EXPECT_EQ(calls.wait(), (Calls{{more, 0, 4096}, {more, 0, 5'000}, {QV_OK, 0, 5'000}}));
        EXPECT_EQ(buffer.substr(0, 5'000), content);
    }
    AsyncCalls calls;
    const QvAsyncIo io = calls.io(1'000'000);
    ASSERT_EQ(QV_ReadFile(file, buffer.data(), 10, nullptr, &io), QV_OK);
    EXPECT_EQ(calls.wait(), (Calls{{QV_OK, 0, 0}}));
}

TEST_F(AsyncIo, ATransferOfNothingCallsBackOnce)
{
    OpenedFile file(path("a"), QV_OPEN_READ | QV_OPEN_WRITE | QV_OPEN_CREATE);
    AsyncCalls reading, writing;
    const QvAsyncIo readIo = reading.io();
    ASSERT_EQ(QV_ReadFile(file, nullptr, 0, nullptr, &readIo), QV_OK);
    EXPECT_EQ(reading.wait(), (Calls{{QV_OK, 0, 0}}));
    const QvAsyncIo writeIo = writing.io();
    ASSERT_EQ(QV_WriteFile(file, nullptr, 0, nullptr, &writeIo), QV_OK);
    EXPECT_EQ(writing.wait(), (Calls{{QV_OK, 0, 0}}));
}

TEST_F(AsyncIo, AWriteGoesToItsOffsetWhateverThePositionIs)
{
    const std::string content = pattern(10'000);
    OpenedFile file(path("a"), QV_OPEN_WRITE | QV_OPEN_CREATE);
    ASSERT_EQ(QV_WriteFile(file, "head", 4, nullptr, nullptr), QV_OK);
    ASSERT_EQ(QV_SeekFile(file, 0, 0), QV_OK);
    AsyncCalls calls;
    const QvAsyncIo io = calls.io(4);
    ASSERT_EQ(QV_WriteFile(file, content.data(), content.size(), nullptr, &io), QV_OK);
    EXPECT_EQ(calls.wait(), (Calls{{more, 0, 4096}, {more, 0, 8192}, {QV_OK, 0, 10'000}}));
    EXPECT_EQ(test::read_file(native("a")), "head" + content);
}

TEST_F(AsyncIo, WithoutACallbackTheTransferIsDoneAllTheSame)
{
    test::write_file(native("a"), pattern(10'000));
    OpenedFile file(path("a"), QV_OPEN_READ | QV_OPEN_WRITE);
    const QvAsyncIo silent = {10'000, nullptr, nullptr};
    ASSERT_EQ(QV_WriteFile(file, "tail", 4, nullptr, &silent), QV_OK);
    while (test::read_file(native("a")).size() < 10'004)
        std::this_thread::yield();
    // A proceed word alone makes a copy asynchronous: it has more than one block to go.
    const uint32_t proceed = 1;
    ASSERT_EQ(QV_CopyFile(path("a"), path("b"), 0, &proceed, nullptr, nullptr), QV_OK);
    while (test::read_file(native("b")).size() < 10'004)
        std::this_thread::yield();
    EXPECT_EQ(test::read_file(native("b")), pattern(10'000) + "tail");
}

TEST_F(AsyncIo, ABadFileOrOffsetIsTheCallbacksBusiness)
{
    test::write_file(native("a"), "content");
    OpenedFile file(path("a"), QV_OPEN_READ);
    char byte = 0;
    {
        AsyncCalls calls;
        const QvAsyncIo io = calls.io(UINT64_MAX - 3);
        ASSERT_EQ(QV_ReadFile(file, &byte, 1, nullptr, &io), QV_OK);
        EXPECT_EQ(calls.wait(), (Calls{{QV_ERR_SEEKFILE, 0, 0}}));
    }
    {
        AsyncCalls calls;
        const QvAsyncIo io = calls.io();
        ASSERT_EQ(QV_WriteFile(file, &byte, 1, nullptr, &io), QV_OK);
        EXPECT_EQ(calls.wait(), (Calls{{QV_ERR_WRITEFILE, 0, 0}})) << "opened for reading only";
    }
    AsyncCalls calls;
    const QvAsyncIo io = calls.io();
    ASSERT_EQ(QV_ReadFile(nullptr, &byte, 1, nullptr, &io), QV_OK);
    EXPECT_EQ(calls.wait(), (Calls{{QV_ERR_SEEKFILE, 0, 0}}));
}

TEST_F(AsyncIo, ACopyCallsBackAfterEachBlockAndAtTheEnd)
{
    const struct
    {
        size_t size;
        Calls calls;
    } rows[] = {
        {0, {{QV_OK, 0, 0}}},
        {100, {{QV_OK, 100, 100}}},
        {8'192, {{more, 8'192, 4096}, {more, 8'192, 8192}, {QV_OK, 8'192, 8'192}}},
        {10'000, {{more, 10'000, 4096}, {more, 10'000, 8192}, {QV_OK, 10'000, 10'000}}},
    };
    for (const auto& row : rows)
    {
        test::write_file(native("a"), pattern(row.size));
        AsyncCalls calls;
        ASSERT_EQ(copy(calls), QV_OK);
        EXPECT_EQ(calls.wait(), row.calls) << row.size;
        wait_for_steps();
        EXPECT_EQ(test::read_file(native("b")), pattern(row.size));
        EXPECT_EQ(QV_RemoveFile(path("b"), 1), QV_OK) << "both files are closed by then";
    }
}

TEST_F(AsyncIo, ACopyThatCannotOpenItsFilesFailsAtOnce)
{
    AsyncCalls calls;
    EXPECT_EQ(copy(calls), QV_ERR_OPENFILE) << "no source";
    EXPECT_EQ(QV_AccessFile(path("b"), 0), QV_ERR_ACCESS) << "and so no target";
    test::write_file(native("a"), "new");
    test::write_file(native("b"), "old");
    EXPECT_EQ(copy(calls, 1), QV_ERR_OPENFILE) << "the target exists";
    EXPECT_EQ(test::read_file(native("b")), "old");
    EXPECT_EQ(QV_RemoveFile(path("a"), 1), QV_OK) << "the source is closed";
    EXPECT_EQ(calls.count(), 0u);
}

TEST_F(AsyncIo, TheProceedWordStopsACopyBehindAFullBlock)
{
    alignas(4) uint32_t proceed = 0;
    test::write_file(native("a"), pattern(10'000));
    {
        AsyncCalls calls;
        ASSERT_EQ(copy(calls, 0, &proceed), QV_OK);
        EXPECT_EQ(calls.wait_for(QV_ERR_CANCELLED),
                  (Calls{{more, 10'000, 4096}, {QV_ERR_CANCELLED, 10'000, 4096}}));
        wait_for_steps();
        EXPECT_EQ(test::read_file(native("b")), pattern(10'000).substr(0, 4096)) << "it stays";
    }
    {
        test::write_file(native("a"), pattern(4'000));
        AsyncCalls calls;
        ASSERT_EQ(copy(calls, 0, &proceed), QV_OK);
        EXPECT_EQ(calls.wait(), (Calls{{QV_OK, 4'000, 4'000}})) << "the word is never looked at";
    }
    proceed = 1;
    test::write_file(native("a"), pattern(100'000));
    AsyncCalls calls(true);
    ASSERT_EQ(copy(calls, 0, &proceed), QV_OK);
    calls.wait_for_count(1);
    calls.step();
    calls.wait_for_count(2);
    std::atomic_ref(proceed).store(0);
    calls.let_go();
    const Calls seen = calls.wait_for(QV_ERR_CANCELLED);
    EXPECT_EQ(
        seen,
        (Calls{{more, 100'000, 4096}, {more, 100'000, 8192}, {QV_ERR_CANCELLED, 100'000, 8192}}));
}

TEST_F(AsyncIo, CancellingTakesATransferOutWithoutACallback)
{
    constexpr size_t blocks = 16'384;
    OpenedFile file(path("a"), QV_OPEN_READ | QV_OPEN_WRITE | QV_OPEN_CREATE);
    ASSERT_EQ(QV_SeekFile(file, blocks * 4096, 0), QV_OK);
    ASSERT_EQ(QV_SetEOF(file), QV_OK);
    std::vector<char> buffer(blocks * 4096);
    AsyncCalls reading(true);
    const QvAsyncIo io = reading.io();
    ASSERT_EQ(QV_ReadFile(file, buffer.data(), buffer.size(), nullptr, &io), QV_OK);
    reading.wait_for_count(1);
    std::atomic<bool> cancelled{false};
    std::thread canceller(
        [&]
        {
            EXPECT_EQ(QV_CancelAsyncIO(file), QV_OK);
            cancelled = true;
        });
    // It waits for the step that is held here, and gets in behind it or one of the next.
    while (!cancelled)
    {
        reading.step();
        std::this_thread::yield();
    }
    canceller.join();
    reading.let_go();
    const size_t before = reading.count();
    EXPECT_LT(before, blocks);

    test::write_file(native("c"), "content");
    AsyncCalls copying;
    ASSERT_EQ(QV_CopyFile(path("c"), path("b"), 0, nullptr, AsyncCalls::on_copy, &copying), QV_OK);
    EXPECT_EQ(copying.wait().back().status, QV_OK);
    EXPECT_EQ(reading.count(), before) << "no callback comes any more";
    EXPECT_EQ(QV_CancelAsyncIO(file), QV_OK) << "nothing to cancel is no failure";
    EXPECT_EQ(QV_CancelAsyncIO(INVALID_HANDLE_VALUE), QV_OK);
}

TEST_F(AsyncIo, CopiesFromTheSameFileGoOnWhenItsReadsAreCancelled)
{
    test::write_file(native("a"), pattern(50'000));
    OpenedFile file(path("a"), QV_OPEN_READ);
    AsyncCalls copying(true);
    ASSERT_EQ(copy(copying), QV_OK);
    copying.wait_for_count(1);
    copying.let_go();
    EXPECT_EQ(QV_CancelAsyncIO(file), QV_OK);
    EXPECT_EQ(copying.wait().back(), (test::AsyncCall{QV_OK, 50'000, 50'000}));
}

TEST_F(AsyncIo, ACallbackMayNeitherStartNorCancelATransfer)
{
    struct Inside
    {
        Wide from, to;
        AsyncCalls calls;
        int read = 1, copied = 1, cancelled = 1;
    } inside;
    test::write_file(native("a"), pattern(100));
    inside.from = path("a");
    inside.to = path("c");
    OpenedFile file(path("a"), QV_OPEN_READ);
    char buffer[100];
    const QvAsyncIo io = {0, &inside,
                          [](int status, uint64_t done, void* context)
                          {
                              auto& in = *static_cast<Inside*>(context);
                              char byte = 0;
                              const QvAsyncIo again = in.calls.io();
                              in.read = QV_ReadFile(nullptr, &byte, 1, nullptr, &again);
                              in.copied = QV_CopyFile(in.from, in.to, 0, nullptr,
                                                      AsyncCalls::on_copy, &in.calls);
                              in.cancelled = QV_CancelAsyncIO(nullptr);
                              AsyncCalls::on_io(status, done, &in.calls);
                          }};
    ASSERT_EQ(QV_ReadFile(file, buffer, sizeof buffer, nullptr, &io), QV_OK);
    EXPECT_EQ(inside.calls.wait(), (Calls{{QV_OK, 0, 100}}));
    wait_for_steps();
    EXPECT_EQ(inside.read, QV_ERR_SYSTEM);
    EXPECT_EQ(inside.copied, QV_ERR_SYSTEM);
    EXPECT_EQ(inside.cancelled, QV_ERR_SYSTEM);
    EXPECT_EQ(QV_AccessFile(path("c"), 0), QV_ERR_ACCESS) << "the target was not made";
}

} // namespace
