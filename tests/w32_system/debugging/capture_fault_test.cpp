// Capture of the debug string channel between processes: what can go wrong, and captures and debug
// windows under load: many processes write, listeners compete, stop and die.
//
// What a text costs its writer is counted in waits rather than measured: each wait for a listener
// has a length that the channel has chosen.
#include <array>

#include "support/test.h"

#include "debug_windows.h"
#include "support/child_process.h"
#include "support/environment.h"
#include "support/soak.h"

using test::ChildProcess;
using test::comes_true;

namespace
{

using Texts = std::vector<std::string>;

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

// Where every text has to come, a machine that is too busy to run the listener must not matter.
constexpr int usual_patience = 0;
constexpr int long_patience = 60'000;

class Writer
{
public:
    Writer(const std::string& before, int patience)
        : m_process(std::make_unique<ChildProcess>("write-numbered",
                                                   Texts{before, std::to_string(patience)}))
    {
        EXPECT_EQ(m_process->line(), "loaded");
    }
    void write(int count) const { m_process->tell(std::to_string(count)); }
    // The most waits of one text, and how many texts waited at all.
    std::pair<unsigned, int> written() const
    {
        std::pair<unsigned, int> cost;
        EXPECT_EQ(std::sscanf(m_process->line().c_str(), "%u %d", &cost.first, &cost.second), 2);
        return cost;
    }

private:
    std::unique_ptr<ChildProcess> m_process;
};

void write(const std::vector<Writer>& all, int count)
{
    for (const Writer& writer : all)
        writer.write(count);
}

void expect_few_waits(const std::vector<Writer>& all)
{
    for (const Writer& writer : all)
        EXPECT_LE(writer.written().first, most_waits);
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

bool a_text_arrives()
{
    return comes_true(
        []
        {
            OutputDebugStringA("w0 0");
            return g_seen > 0;
        });
}

TEST(Capture, EachStepThatFailsLeavesAnObjectThatCanBeDestroyed)
{
    for (const char* step : {"InitializeSecurityDescriptor", "SetSecurityDescriptorDacl",
                             "CreateEvent", "CreateFileMapping", "MapViewOfFile",
                             "SetThreadPriority", "WaitForSingleObject", "pthread_create"})
        for (const unsigned nth : {1u, 2u})
        {
            PlinthTestFail(step, nth, 1,
                           std::string(step) == "pthread_create"
                               ? EAGAIN
                               : static_cast<int>(ERROR_NOT_ENOUGH_MEMORY));
            {
                const CQvDebugOutputCapture capture(see);
            }
            PlinthTestReset();
        }
    const CQvDebugOutputCapture works(see);
    EXPECT_TRUE(a_text_arrives());
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
            all.emplace_back("w" + std::to_string(i) + " ", long_patience);
        g_seen = g_disorder = 0;
        for (auto& next : g_next)
            next = 0;
        const CQvDebugOutputCapture capture(see);
        write(all, texts);
        PlinthTestArm();
        for (unsigned frameworks = 1; g_seen < writers * texts / 2; ++frameworks)
        {
            const CQvDebugOutputCapture silent([](const wchar_t*)
                                               { ADD_FAILURE() << "got a text"; });
            const CDebugFramework empty(nullptr);
            EXPECT_EQ(PlinthTestCalls("MessageBoxW"), frameworks) << "only the frameworks say so";
            EXPECT_EQ(test::row_count(0), 0);
        }
        EXPECT_EQ(test::debug_windows(), 0);
        for (const Writer& writer : all)
            writer.written();
        EXPECT_TRUE(comes_true([] { return g_seen == writers * texts; })) << g_seen;
        for (const auto& next : g_next)
            EXPECT_EQ(next, texts);
        EXPECT_EQ(g_disorder, 0);
        total += writers * texts;
        PlinthTestReset();
    } while (soak.goes_on() && !HasFailure());
    soak.report("texts", total);
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

TEST_F(CaptureConcurrent, ListenersThatAreStoppedAndKilledHoldUpNoWriterAndTheNextOneGoesOn)
{
    constexpr int count = 2'000;
    std::vector<Writer> all;
    for (int i = 0; i < 4; ++i)
        all.emplace_back("w" + std::to_string(i) + " ", usual_patience);
    int last = 0; // that the former listener saw of the first writer
    const auto replace_listener = [&](int signal)
    {
        ChildProcess listener("capture-and-tell");
        EXPECT_EQ(listener.line(), "listens");
        // Until the listener says how far it is: on a machine that is too busy for one who has the
        // channel's turn, the others give their texts up, and the first writer can lose a batch
        // whole.
        for (write(all, count); !listener.has_said(); write(all, count))
            expect_few_waits(all);
        const std::string seen = listener.line();
        ASSERT_NE(seen, "disorder");
        EXPECT_GE(std::stoi(seen), last) << "what comes after";
        last = std::stoi(seen);
        listener.finish(signal);
        expect_few_waits(all);
        if (signal == SIGKILL)
            return;
        // At the latest the second text from here on waits in vain; then none does.
        all[0].write(2);
        EXPECT_LE(all[0].written().first, most_waits);
        write(all, count);
        for (const Writer& writer : all)
            EXPECT_EQ(writer.written().second, 0);
        listener.finish(SIGKILL);
    };
    const test::SoakTime soak;
    uint64_t total = 0;
    for (; total == 0 || (soak.goes_on() && !HasFailure()); ++total)
    {
        replace_listener(SIGKILL);
        replace_listener(SIGSTOP);
    }
    soak.report("listeners stopped and killed", total);
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
    EXPECT_TRUE(a_text_arrives());
}

} // namespace
