// The debug string channel with listeners and writers that die, stop and crowd.
//
// The library says a word on the channel while a process loads it: children are loaded before the
// listener that counts texts is there. Time appears only as a share of what would pass if each text
// waited its 500 ms.
#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <windows.h>

#include <plinth_platform_test.h>

#include "support/child_process.h"
#include "support/environment.h"
#include "support/wide_text.h"

using std::chrono::milliseconds;
using test::ChildProcess;

namespace
{

constexpr milliseconds patience(500); // what one text may cost its writer

// Ditto, ms, where all texts have to come: a machine with too much to do may let a listener wait.
constexpr uint32_t long_patience = 60'000;

// A listener as any program may write one.
class Listener
{
public:
    Listener()
        : m_buffer_ready(CreateEventA(nullptr, FALSE, FALSE, "DBWIN_BUFFER_READY")),
          m_error(GetLastError()),
          m_data_ready(CreateEventA(nullptr, FALSE, FALSE, "DBWIN_DATA_READY")),
          m_mapping(CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096,
                                       "DBWIN_BUFFER")),
          m_view(static_cast<const char*>(MapViewOfFile(m_mapping, FILE_MAP_READ, 0, 0, 4096)))
    {
        SetEvent(m_buffer_ready);
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener()
    {
        UnmapViewOfFile(m_view);
        CloseHandle(m_mapping);
        CloseHandle(m_data_ready);
        CloseHandle(m_buffer_ready);
    }
    DWORD creation_error() const { return m_error; }
    DWORD writer() const { return m_writer; }
    // The next text; false if none comes in that time.
    bool next(std::string& text, DWORD milliseconds = 60'000)
    {
        if (WaitForSingleObject(m_data_ready, milliseconds) != WAIT_OBJECT_0)
            return false;
        std::memcpy(&m_writer, m_view, sizeof m_writer);
        text = m_view + sizeof m_writer;
        SetEvent(m_buffer_ready);
        return true;
    }
    std::string next()
    {
        std::string text;
        return next(text) ? text : "(nothing came)";
    }
    bool silent()
    {
        std::string text;
        return !next(text, 0);
    }

private:
    const HANDLE m_buffer_ready;
    const DWORD m_error;
    const HANDLE m_data_ready;
    const HANDLE m_mapping;
    const char* const m_view;
    DWORD m_writer = 0;
};

// Listens, and prints each text.
int listen(int, char**)
{
    Listener listener;
    test::say("error " + std::to_string(listener.creation_error()));
    for (;;)
        test::say(listener.next());
}
const test::ChildMain g_listen("listen", listen);

// Starts a writing child and returns when it has nothing more of its own to say.
std::unique_ptr<ChildProcess> loaded(const char* name, std::vector<std::string> arguments = {},
                                     const std::vector<std::string>& environment = {})
{
    auto child = std::make_unique<ChildProcess>(name, std::move(arguments), environment);
    EXPECT_EQ(child->line(), "loaded");
    return child;
}

// Writes the texts it is told to. With an argument, a signal comes at that point of the first one.
int write_texts(int count, char** arguments)
{
    if (count == 2)
        PlinthTestFail(arguments[0], 1, 1, std::stoi(arguments[1]));
    test::say("loaded");
    for (std::string text = test::hear(); !text.empty(); text = test::hear())
    {
        OutputDebugStringA(text.c_str());
        test::say("done");
    }
    return 0;
}
const test::ChildMain g_write_texts("write_texts", write_texts);

// Writes so many numbered texts when it is told to; with a third argument, patiently.
int flood(int arguments_given, char** arguments)
{
    const int count = std::stoi(arguments[1]);
    if (arguments_given > 2)
        PlinthTestSetChannelPatience(long_patience);
    test::say("loaded");
    test::hear();
    for (int i = 0; i < count; ++i)
        OutputDebugStringA((arguments[0] + (" " + std::to_string(i))).c_str());
    return 0;
}
const test::ChildMain g_flood("flood", flood);

milliseconds time_of(auto&& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
}

void write_many(int count)
{
    for (int i = 0; i < count; ++i)
        OutputDebugStringA("text");
}

} // namespace

class DebugChannel : public testing::Test
{
public:
    ~DebugChannel() override { PlinthTestReset(); }
};

TEST_F(DebugChannel, ATextWithoutListenerCostsNoSystemCall)
{
    OutputDebugStringA("maps the control page");
    PlinthTestArm();
    OutputDebugStringA("text");
    OutputDebugStringW(L"text");
    OutputDebugStringA(nullptr);
    OutputDebugStringW(nullptr);
    EXPECT_EQ(PlinthTestCalls(nullptr), 0u);
    { // A listener came and went.
        const Listener listener;
    }
    PlinthTestReset();
    PlinthTestArm();
    OutputDebugStringA("text");
    EXPECT_EQ(PlinthTestCalls(nullptr), 0u);
}

TEST_F(DebugChannel, AWriterInPlaceFindsTheNextListener)
{
    for (int i = 0; i < 3; ++i)
    {
        Listener listener;
        EXPECT_EQ(listener.creation_error(), ERROR_SUCCESS);
        OutputDebugStringA("one");
        EXPECT_EQ(listener.next(), "one");
        EXPECT_EQ(listener.writer(), GetCurrentProcessId());
        OutputDebugStringW(L"zw\u00f6lf");
        EXPECT_EQ(listener.next(), "zw\xc3\xb6lf");
        EXPECT_TRUE(listener.silent());
    }
}

class DebugChannelText : public testing::TestWithParam<size_t>
{
};

TEST_P(DebugChannelText, ArrivesWholeUpToTheSizeOfTheBuffer)
{
    const size_t length = GetParam();
    const std::string text(length, 'x');
    const std::string expected = text.substr(0, 4091);
    Listener listener;
    OutputDebugStringA(text.c_str());
    EXPECT_EQ(listener.next(), expected);
    OutputDebugStringW(test::Wide(text));
    EXPECT_EQ(listener.next(), expected);
    EXPECT_TRUE(listener.silent()) << "a long text is cut, not divided";
}

INSTANTIATE_TEST_SUITE_P(Lengths, DebugChannelText,
                         testing::Values(0, 1, 1023, 1024, 4090, 4091, 4092, 4093, 100'000));

TEST_F(DebugChannel, ALongTextIsNeverCutInsideACharacter)
{
    Listener listener;
    for (const std::string character : {"\xc3\xa4", "\xe2\x82\xac", "\xf0\x9f\x98\x80"})
        for (size_t shift = 0; shift < character.size(); ++shift)
        {
            std::string text(shift, '.');
            while (text.size() < 5000)
                text += character;
            const size_t whole = (4091 - shift) / character.size() * character.size();
            const std::string expected = text.substr(0, shift + whole);
            OutputDebugStringA(text.c_str());
            EXPECT_EQ(listener.next(), expected);
            OutputDebugStringW(test::Wide(text));
            EXPECT_EQ(listener.next(), expected);
        }
    OutputDebugStringA(std::string(5000, '\x80').c_str()); // no character at all
    EXPECT_GE(listener.next().size(), 4088u);
}

TEST_F(DebugChannel, ATextKeepsTheLastErrorAndErrno)
{
    const Listener listener;
    SetLastError(4711);
    errno = E2BIG;
    OutputDebugStringA("one");
    OutputDebugStringW(L"nobody takes the first"); // waits in vain
    EXPECT_EQ(GetLastError(), 4711u);
    EXPECT_EQ(errno, E2BIG);
}

TEST_F(DebugChannel, ConcurrentWritersOfAllProcessesTakeTurnsAndLoseNothing)
{
    constexpr int texts = 3000;
    std::vector<std::unique_ptr<ChildProcess>> writers;
    for (const char* const name : {"a", "b", "c"})
        writers.push_back(loaded("flood", {name, std::to_string(texts), "patiently"}));
    Listener listener;
    for (const auto& writer : writers)
        writer->tell("go");
    PlinthTestSetChannelPatience(long_patience);
    std::vector<std::jthread> threads;
    for (const std::string name : {"d", "e"})
        threads.emplace_back(
            [name]
            {
                for (int i = 0; i < texts; ++i)
                    OutputDebugStringA((name + " " + std::to_string(i)).c_str());
            });
    std::map<std::string, int> expected;
    for (int i = 0; i < 5 * texts; ++i)
    {
        std::string text;
        ASSERT_TRUE(listener.next(text)) << "only " << i << " texts came";
        const std::string name = text.substr(0, 1);
        ASSERT_EQ(text, name + " " + std::to_string(expected[name]++));
    }
    for (std::jthread& thread : threads)
        thread.join();
    PlinthTestSetChannelPatience(0);
    EXPECT_EQ(expected.size(), 5u);
    EXPECT_TRUE(listener.silent());
}

TEST_F(DebugChannel, AKilledListenerHoldsUpNobody)
{
    ChildProcess listener("listen");
    ASSERT_EQ(listener.line(), "error 0");
    OutputDebugStringA("one");
    EXPECT_EQ(listener.line(), "one");
    listener.finish(SIGKILL);
    EXPECT_LT(time_of([] { write_many(100); }), patience);
    PlinthTestArm();
    OutputDebugStringA("text");
    EXPECT_EQ(PlinthTestCalls(nullptr), 0u) << "known to be dead";
}

TEST_F(DebugChannel, AProcessThatNeverMetAKilledListenerFindsItDead)
{
    ChildProcess listener("listen");
    ASSERT_EQ(listener.line(), "error 0");
    listener.finish(SIGKILL);
    OutputDebugStringA("text");
    PlinthTestArm();
    OutputDebugStringA("text");
    EXPECT_EQ(PlinthTestCalls(nullptr), 0u) << "known to be dead";
}

TEST_F(DebugChannel, AfterAKilledListenerANewOneFindsTheChannelFree)
{
    for (int i = 0; i < 3; ++i)
    {
        ChildProcess killed("listen");
        ASSERT_EQ(killed.line(), "error 0");
        OutputDebugStringA("one");
        EXPECT_EQ(killed.line(), "one");
        killed.finish(SIGKILL);
        if (i != 1)
            OutputDebugStringA("into the void");
        Listener listener;
        EXPECT_EQ(listener.creation_error(), ERROR_SUCCESS);
        OutputDebugStringA("two");
        EXPECT_EQ(listener.next(), "two");
    }
}

TEST_F(DebugChannel, ASecondListenerIsTold)
{
    const Listener first;
    ChildProcess second("listen");
    EXPECT_EQ(second.line(), "error " + std::to_string(ERROR_ALREADY_EXISTS));
}

TEST_F(DebugChannel, AStoppedListenerCostsAllWritersOneWaitUntilItGoesOn)
{
    constexpr int texts = 20;
    const auto other = loaded("flood", {"other", std::to_string(texts)});
    ChildProcess listener("listen");
    ASSERT_EQ(listener.line(), "error 0");
    OutputDebugStringA("one");
    EXPECT_EQ(listener.line(), "one");
    listener.finish(SIGSTOP);
    const milliseconds spent = time_of(
        [&]
        {
            OutputDebugStringA("text");
            std::vector<std::thread> writers;
            for (int i = 0; i < 4; ++i)
                writers.emplace_back([] { write_many(texts); });
            other->tell("go");
            other->wait();
            for (std::thread& writer : writers)
                writer.join();
        });
    EXPECT_LT(spent, texts / 4 * patience) << "each waiting on its own would take four times that";
    listener.send(SIGCONT);
    EXPECT_EQ(listener.line(), "text") << "what stood in the buffer";
    // Once the listener has signalled, texts arrive as before.
    std::string last;
    for (int i = 0; last != "again" && i < 10'000; ++i)
    {
        OutputDebugStringA("again");
        last = listener.line();
    }
    EXPECT_EQ(last, "again");
}

class DebugChannelWriter : public testing::TestWithParam<const char*>
{
};

TEST_P(DebugChannelWriter, KilledInItsTurnLeavesTheChannelUsable)
{
    const std::string point = GetParam();
    std::vector<std::unique_ptr<ChildProcess>> writers;
    for (int i = 0; i < 3; ++i)
        writers.push_back(loaded("write_texts", {point, std::to_string(SIGKILL)}));
    Listener listener;
    OutputDebugStringA("before");
    EXPECT_EQ(listener.next(), "before");
    for (const auto& writer : writers)
    {
        writer->tell("last words");
        ASSERT_EQ(writer->wait(), 128 + SIGKILL);
        if (point == "OutputDebugString.announced")
        {
            EXPECT_EQ(listener.next(), "last words");
        }
        std::thread next([] { write_many(3); });
        if (point == "OutputDebugString.filled")
        {
            EXPECT_EQ(listener.next(), "last words");
        }
        for (int k = 0; k < 3; ++k)
            EXPECT_EQ(listener.next(), "text");
        next.join();
        EXPECT_TRUE(listener.silent());
    }
}

TEST_P(DebugChannelWriter, StoppedInItsTurnCostsTheOthersOneWait)
{
    const auto writer = loaded("write_texts", {GetParam(), std::to_string(SIGSTOP)});
    Listener listener;
    writer->tell("slow words");
    writer->wait_until_stopped();
    constexpr int texts = 20;
    EXPECT_LT(time_of([] { write_many(texts); }), texts / 4 * patience);
    writer->send(SIGCONT);
    EXPECT_EQ(listener.next(), "slow words");
    EXPECT_EQ(writer->line(), "done");
    OutputDebugStringA("after");
    EXPECT_EQ(listener.next(), "after");
}

INSTANTIATE_TEST_SUITE_P(Points, DebugChannelWriter,
                         testing::Values("OutputDebugString.taken", "OutputDebugString.filled",
                                         "OutputDebugString.announced"),
                         [](const auto& point) { return std::string(point.param).substr(18); });

TEST_F(DebugChannel, AForkedProcessWritesUnderItsOwnId)
{
    Listener listener;
    OutputDebugStringA("parent");
    EXPECT_EQ(listener.next(), "parent");
    const pid_t child = fork();
    if (child == 0)
    {
        OutputDebugStringA("child");
        _exit(0);
    }
    EXPECT_EQ(listener.next(), "child");
    EXPECT_EQ(listener.writer(), static_cast<DWORD>(child));
    waitpid(child, nullptr, 0);
}

TEST_F(DebugChannel, AForkDuringConcurrentTextsHoldsUpNeitherSide)
{
    PlinthTestSetChannelPatience(long_patience);
    const auto other = loaded("flood", {"other", "20000", "patiently"});
    Listener listener;
    other->tell("go");
    std::thread writer([] { write_many(2000); });
    pid_t children[10];
    for (pid_t& child : children)
    {
        child = fork();
        if (child == 0)
        {
            OutputDebugStringA("child");
            _exit(0);
        }
    }
    int seen = 0;
    for (std::string text; seen < 10 && listener.next(text);)
        seen += text == "child";
    EXPECT_EQ(seen, 10);
    std::thread drain(
        [&]
        {
            for (std::string text; text != "end";)
                ASSERT_TRUE(listener.next(text));
        });
    writer.join();
    other->wait();
    OutputDebugStringA("end");
    drain.join();
    PlinthTestSetChannelPatience(0);
    for (const pid_t child : children)
        waitpid(child, nullptr, 0);
}

namespace
{

int write_mirrored(int, char**)
{
    dup2(STDOUT_FILENO, STDERR_FILENO);
    test::say("loaded");
    test::hear();
    OutputDebugStringA("narrow\n");
    OutputDebugStringW(L"\u00f6\n");
    return 0;
}
const test::ChildMain g_write_mirrored("write_mirrored", write_mirrored);

} // namespace

TEST_F(DebugChannel, TextsGoToStandardErrorIfTheEnvironmentSaysSo)
{
    const auto writer = loaded("write_mirrored", {}, {"PLINTH_DEBUG_OUTPUT=stderr"});
    Listener listener;
    writer->tell("go");
    EXPECT_EQ(writer->line(), "narrow");
    EXPECT_EQ(listener.next(), "narrow\n") << "and to the channel as well";
    EXPECT_EQ(writer->line(), "\xc3\xb6");
    EXPECT_EQ(listener.next(), "\xc3\xb6\n");
}

TEST_F(DebugChannel, AStrangersControlPageIsMadeAnew)
{
    // This process has the page mapped already: the children find the stranger's.
    test::write_file(std::string(PlinthTestSharedFolder()) + "/channel-2",
                     std::string(4096, '\xff'));
    const auto writer = loaded("write_texts");
    ChildProcess listener("listen");
    ASSERT_EQ(listener.line(), "error 0");
    writer->tell("text");
    EXPECT_EQ(listener.line(), "text");
}
