// Capture of the debug string channel between processes: steps that fail, many processes that write
// while other listeners find the channel in use, and listeners that are stopped or killed.
#include <array>

#include "support/test.h"

#include "support/child_process.h"
#include "support/environment.h"
#include "support/soak.h"
#include "w32_system/debugging/debugwnd/debug_windows.h"

using test::ChildProcess;
using test::comes_true;

namespace
{

constexpr int writers = 8;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int texts = 1'000; // of each writer
#else
constexpr int texts = 12'500;
#endif

// Waits for a line, then writes numbered texts.
int write_numbered(int, char** arguments)
{
    PlinthTestSetChannelPatience(60'000); // so that no text is lost on a busy machine
    test::say("loaded");
    test::hear();
    for (int number = 0; number < texts; ++number)
        DiagOutputA("w%s %d", arguments[0], number);
    return 0;
}
const test::ChildMain g_write_numbered("write-numbered", write_numbered);

// What the callback has received of the writers' texts "wN NUMBER".
std::array<std::atomic<int>, writers> g_next;
std::atomic<int> g_seen{0};
std::atomic<int> g_disorder{0};

// Numbers may be missing, but must rise.
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
                           step == std::string("pthread_create") ? EAGAIN
                                                                 : int{ERROR_NOT_ENOUGH_MEMORY});
            {
                const CQvDebugOutputCapture capture(see);
            }
            PlinthTestReset();
        }
    const CQvDebugOutputCapture works(see);
    EXPECT_TRUE(a_text_arrives());
}

// Reports that it listens once it has received a text of its own.
int capture_and_stay(int, char**)
{
    const CQvDebugOutputCapture capture(see);
    test::say(a_text_arrives() ? "listens" : "hears nothing");
    test::hear();
    return 0;
}
const test::ChildMain g_capture_and_stay("capture-and-stay", capture_and_stay);

// A writer's cost is counted in waits, not measured: the channel sets the length of each. The waits
// of one text grow from 100 us to 20 ms and end after 500 ms.
TEST(Capture, AListenerThatIsStoppedOrKilledHoldsUpNoWriterAndTheNextOneGoesOn)
{
    for (const int signal : {SIGKILL, SIGSTOP})
    {
        SCOPED_TRACE(signal);
        ChildProcess listener("capture-and-stay");
        ASSERT_EQ(listener.line(), "listens");
        listener.finish(signal);
        PlinthTestArm();
        for (const unsigned allowed : {40u, 40u, 0u, 0u, 0u})
        {
            const unsigned before = PlinthTestCalls("OutputDebugString.wait");
            OutputDebugStringA("w0 0");
            EXPECT_LE(PlinthTestCalls("OutputDebugString.wait") - before, allowed);
        }
        PlinthTestReset();
        listener.finish(SIGKILL);
        g_seen = 0;
        const CQvDebugOutputCapture next(see);
        EXPECT_TRUE(a_text_arrives());
    }
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
        std::vector<std::unique_ptr<ChildProcess>> all;
        for (int i = 0; i < writers; ++i)
        {
            all.push_back(
                std::make_unique<ChildProcess>("write-numbered", std::vector{std::to_string(i)}));
            EXPECT_EQ(all.back()->line(), "loaded");
        }
        g_seen = g_disorder = 0;
        for (auto& next : g_next)
            next = 0;
        const CQvDebugOutputCapture capture(see);
        for (const auto& writer : all)
            writer->tell("go");
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
        for (const auto& writer : all)
            EXPECT_EQ(writer->wait(), 0);
        EXPECT_TRUE(comes_true([] { return g_seen == writers * texts; })) << g_seen;
        for (const auto& next : g_next)
            EXPECT_EQ(next, texts);
        EXPECT_EQ(g_disorder, 0);
        total += writers * texts;
        PlinthTestReset();
    } while (soak.goes_on() && !HasFailure());
    soak.report("texts", total);
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
