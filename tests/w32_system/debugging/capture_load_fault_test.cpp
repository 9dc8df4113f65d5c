// Capture and debug windows under load: many processes write, listeners compete, stop and die.
//
// What a text costs its writer is counted in waits rather than measured: each wait for a listener
// has a length that the channel has chosen.
#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>

#include "debug_windows.h"
#include "support/child_process.h"
#include "support/environment.h"
#include "support/soak.h"

namespace
{

using test::ChildProcess;
using test::comes_true;

constexpr int writers = 8;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int texts = 1'000; // of each writer
#else
constexpr int texts = 12'500;
#endif
// Waits of one text: they grow from 100 us to 20 ms, and end after 500 ms.
constexpr unsigned most_waits = 40;

// Writes numbered texts, as many as each line says, and answers with the most waits that one of
// them took and with how many took any. The second argument is the channel's patience in ms.
int write_numbered(int, char** arguments)
{
    const std::string before = arguments[0];
    PlinthTestSetChannelPatience(static_cast<uint32_t>(std::stoul(arguments[1])));
    test::say("loaded");
    int number = 0;
    PlinthTestArm();
    for (std::string count = test::hear(); !count.empty(); count = test::hear())
    {
        unsigned most = 0;
        int waited = 0;
        for (int i = std::stoi(count); i > 0; --i)
        {
            const unsigned start = PlinthTestCalls("OutputDebugString.wait");
            DiagOutputA("%s%d", before.c_str(), number++);
            const unsigned waits = PlinthTestCalls("OutputDebugString.wait") - start;
            most = std::max(most, waits);
            waited += waits > 0;
        }
        test::say(std::to_string(most) + " " + std::to_string(waited));
    }
    return 0;
}
const test::ChildMain g_write_numbered("write-numbered", write_numbered);

using Writer = std::unique_ptr<ChildProcess>;

// Where every text has to come, a machine that is too busy to run the listener must not matter.
constexpr int usual_patience = 0;
constexpr int long_patience = 60'000;

Writer start_writer(const std::string& before, int patience)
{
    auto writer = std::make_unique<ChildProcess>("write-numbered",
                                                 std::vector{before, std::to_string(patience)});
    EXPECT_EQ(writer->line(), "loaded");
    return writer;
}

void write(const Writer& writer, int count)
{
    writer->tell(std::to_string(count));
}

struct Cost
{
    unsigned most = 0; // waits of one text
    int waited = 0;    // texts
};

Cost written(const Writer& writer)
{
    Cost cost;
    EXPECT_EQ(std::sscanf(writer->line().c_str(), "%u %d", &cost.most, &cost.waited), 2);
    return cost;
}

// What a callback has seen of the writers: texts "wN NUMBER".
std::array<std::atomic<int>, writers> g_next;
std::atomic<int> g_seen{0};
std::atomic<int> g_disorder{0};

// Numbers may be missing, but they rise.
void see(const wchar_t* text)
{
    int writer = 0;
    int number = 0;
    if (std::sscanf(test::utf8(text).c_str(), "w%d %d", &writer, &number) != 2)
        return;
    g_disorder += number < g_next[static_cast<size_t>(writer)];
    g_next[static_cast<size_t>(writer)] = number + 1;
    ++g_seen;
}

struct CaptureConcurrent : testing::Test
{
    CaptureConcurrent() { setenv("PLINTH_MESSAGEBOX", "ok", 1); }
    ~CaptureConcurrent() override { PlinthTestReset(); }
};

TEST_F(CaptureConcurrent, GetsEveryTextOfEightProcessesInOrderWhileOthersFindTheChannelTaken)
{
    const test::SoakTime soak;
    uint64_t total = 0;
    do
    {
        std::vector<Writer> all;
        for (int i = 0; i < writers; ++i)
            all.push_back(start_writer("w" + std::to_string(i) + " ", long_patience));
        g_seen = g_disorder = 0;
        for (auto& next : g_next)
            next = 0;
        const CQvDebugOutputCapture capture(see);
        for (const Writer& writer : all)
            write(writer, texts);
        PlinthTestArm();
        unsigned frameworks = 0;
        while (g_seen < writers * texts / 2)
        {
            const CQvDebugOutputCapture silent([](const wchar_t*) { FAIL() << "got a text"; });
            const CDebugFramework empty(nullptr);
            ++frameworks;
            EXPECT_EQ(PlinthTestCalls("MessageBoxW"), frameworks)
                << "and only the frameworks say so";
            EXPECT_EQ(test::row_count(0), 0);
        }
        for (const Writer& writer : all)
            written(writer);
        EXPECT_TRUE(comes_true([] { return g_seen == writers * texts; })) << g_seen;
        for (const auto& next : g_next)
            EXPECT_EQ(next, texts);
        EXPECT_EQ(g_disorder, 0);
        total += static_cast<uint64_t>(g_seen);
        PlinthTestReset();
    } while (soak.goes_on() && !HasFailure());
    soak.report("texts", total);
}

TEST_F(CaptureConcurrent, AFrameworkShowsEveryTextOfEightProcessesWhileACaptureFindsItTaken)
{
    constexpr int rows = texts;
    const test::SoakTime soak;
    uint64_t total = 0;
    do
    {
        std::vector<Writer> all;
        for (int i = 0; i < writers; ++i)
            all.push_back(start_writer("|wndid:" + std::to_string(i) + "| \t", long_patience));
        PlinthTestArm();
        const CDebugFramework framework(nullptr);
        const CQvDebugOutputCapture silent([](const wchar_t*) { FAIL() << "got a text"; });
        for (const Writer& writer : all)
            write(writer, rows);
        for (const Writer& writer : all)
            written(writer);
        for (int window = 0; window < writers; ++window)
        {
            // A row is there before its text is. So many take their time, but they keep coming.
            const auto complete = [window]
            { return test::cell(window, rows - 1, 2) == std::to_string(rows - 1); };
            int before = -1;
            while (!complete() &&
                   comes_true([&] { return complete() || test::row_count(window) > before; }))
                before = test::row_count(window);
            ASSERT_TRUE(complete()) << test::row_count(window) << " in window " << window;
            EXPECT_EQ(test::row_count(window), rows);
            for (int row = 0; row < rows; ++row)
                EXPECT_EQ(test::cell(window, row, 2), std::to_string(row));
            total += rows;
        }
        EXPECT_EQ(PlinthTestCalls("MessageBoxW"), 0u);
        PlinthTestReset();
    } while (soak.goes_on() && !HasFailure());
    soak.report("rows", total);
}

// Captures and says how far the first writer is, once for each hundred texts.
int capture_and_tell(int, char**)
{
    const CQvDebugOutputCapture capture(
        [](const wchar_t* text)
        {
            see(text);
            if (g_disorder != 0)
                test::say("disorder");
            else if (g_seen % 100 == 0 && g_next[0] > 0)
                test::say(std::to_string(g_next[0]));
        });
    test::say("listens");
    test::hear();
    return 0;
}
const test::ChildMain g_capture_and_tell("capture-and-tell", capture_and_tell);

Writer start_listener()
{
    auto listener = std::make_unique<ChildProcess>("capture-and-tell");
    EXPECT_EQ(listener->line(), "listens");
    return listener;
}

// Has the writers write until the listener says how far it is, and leaves them with a batch to
// write. On a machine that is too busy for one who has the channel's turn, the others give their
// texts up, and the first writer can lose a batch whole.
std::string first_word(const Writer& listener, const std::vector<Writer>& all, int count)
{
    for (;;)
    {
        for (const Writer& writer : all)
            write(writer, count);
        if (listener->has_said())
            return listener->line();
        for (const Writer& writer : all)
            EXPECT_LE(written(writer).most, most_waits);
    }
}

TEST_F(CaptureConcurrent, ListenersThatAreStoppedAndKilledHoldUpNoWriterAndTheNextOneGoesOn)
{
    const test::SoakTime soak;
    constexpr int count = 2'000;
    std::vector<Writer> all;
    for (int i = 0; i < 4; ++i)
        all.push_back(start_writer("w" + std::to_string(i) + " ", usual_patience));
    int last = 0; // that the former listener saw of the first writer
    uint64_t listeners = 0;
    do
        for (const bool stopped : {false, true})
        {
            const Writer listener = start_listener();
            const std::string seen = first_word(listener, all, count);
            ASSERT_NE(seen, "disorder");
            EXPECT_GE(std::stoi(seen), last) << "what comes after";
            last = std::stoi(seen);
            listener->finish(stopped ? SIGSTOP : SIGKILL);
            for (const Writer& writer : all)
                EXPECT_LE(written(writer).most, most_waits);
            if (!stopped)
                continue;
            // At the latest the second text from here on waits in vain; then none does.
            write(all[0], 2);
            EXPECT_LE(written(all[0]).most, most_waits);
            for (const Writer& writer : all)
                write(writer, count);
            for (const Writer& writer : all)
                EXPECT_EQ(written(writer).waited, 0);
            listener->finish(SIGKILL);
            ++listeners;
        }
    while (soak.goes_on() && !HasFailure());
    soak.report("listeners stopped and killed", listeners);
}

TEST_F(CaptureConcurrent, OneThatFoundTheChannelTakenLeavesNothingBehindInIt)
{
    auto first = std::make_unique<CQvDebugOutputCapture>(see);
    const CDebugFramework late(nullptr);
    first.reset();
    OutputDebugStringA("maps the control page");
    PlinthTestArm();
    OutputDebugStringA("nobody listens");
    EXPECT_EQ(PlinthTestCalls(nullptr), 0u) << "a text costs nothing";
    PlinthTestReset();
    const CQvDebugOutputCapture next(see);
    EXPECT_TRUE(comes_true(
        []
        {
            OutputDebugStringA("w0 0");
            return g_seen > 0;
        }));
}

} // namespace
