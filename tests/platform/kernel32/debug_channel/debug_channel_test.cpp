// The debug string channel with many listeners and writers, some of which are killed or stopped.
//
// The library writes to the channel while a process loads it, so children are loaded before the
// listener that counts texts exists. Times are compared only with a fraction of 500 ms for each
// text.
#include <set>

#include <sys/wait.h>
#include <unistd.h>

#include "support/test.h"

#include "support/child_process.h"
#include "support/environment.h"
#include "support/handles.h"
#include "support/wide_text.h"

using std::chrono::milliseconds;
using test::ChildProcess;

namespace
{

constexpr milliseconds patience(500); // the longest wait of one text's writer

// The same where no text may be lost, in ms: a listener may have to wait on a busy machine.
constexpr uint32_t long_patience = 60'000;

// A listener as any program may write one.
class Listener
{
public:
    Listener() { SetEvent(m_buffer_ready); }
    ~Listener() { UnmapViewOfFile(m_view); }
    DWORD creation_error() const { return m_buffer_ready.error(); }
    DWORD writer() const { return m_writer; }
    // Waits for the next text.
    std::string next(DWORD milliseconds = 60'000)
    {
        if (WaitForSingleObject(m_data_ready, milliseconds) != WAIT_OBJECT_0)
            return "(nothing came)";
        std::memcpy(&m_writer, m_view, sizeof m_writer);
        const std::string text = m_view + sizeof m_writer;
        SetEvent(m_buffer_ready);
        return text;
    }
    bool silent() { return next(0) == "(nothing came)"; }
    // Writes a text and returns what arrives.
    std::string echo(const std::string& text)
    {
        OutputDebugStringA(text.c_str());
        return next();
    }

private:
    const test::Handle m_buffer_ready{CreateEventA(nullptr, FALSE, FALSE, "DBWIN_BUFFER_READY")};
    const test::Handle m_data_ready{CreateEventA(nullptr, FALSE, FALSE, "DBWIN_DATA_READY")};
    const test::Handle m_mapping{
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, "DBWIN_BUFFER")};
    const char* const m_view =
        static_cast<const char*>(MapViewOfFile(m_mapping, FILE_MAP_READ, 0, 0, 4096));
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

// Starts a writing child and returns when the library in it has written its own texts.
std::unique_ptr<ChildProcess> loaded(const char* name, std::vector<std::string> arguments = {})
{
    auto child = std::make_unique<ChildProcess>(name, std::move(arguments));
    EXPECT_EQ(child->line(), "loaded");
    return child;
}

// Writes the texts that the test sends. With arguments, a signal comes at that point of the first
// text.
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

void write_numbered(const std::string& name, int count)
{
    for (int i = 0; i < count; ++i)
        OutputDebugStringA((name + " " + std::to_string(i)).c_str());
}

// Waits for a line, then writes that many numbered texts; with a third argument, patiently.
int flood(int arguments_given, char** arguments)
{
    if (arguments_given > 2)
        PlinthTestSetChannelPatience(long_patience);
    test::say("loaded");
    test::hear();
    write_numbered(arguments[0], std::stoi(arguments[1]));
    return 0;
}
const test::ChildMain g_flood("flood", flood);

constexpr const char* points[] = {"OutputDebugString.taken", "OutputDebugString.filled",
                                  "OutputDebugString.announced"};

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
    ~DebugChannel() override
    {
        PlinthTestSetChannelPatience(0);
        PlinthTestReset();
    }
    // Starts a listener in a child and returns when it listens and, if a text is given, has read
    // that.
    static std::unique_ptr<ChildProcess> other_listener(const char* text = nullptr)
    {
        auto listener = std::make_unique<ChildProcess>("listen");
        EXPECT_EQ(listener->line(), "error 0");
        if (text)
        {
            OutputDebugStringA(text);
            EXPECT_EQ(listener->line(), text);
        }
        return listener;
    }
    // A text must take no system call, as without any listener.
    static void expect_known_to_be_dead()
    {
        PlinthTestArm();
        OutputDebugStringA("text");
        EXPECT_EQ(PlinthTestCalls(nullptr), 0u) << "known to be dead";
        PlinthTestReset();
    }
};

TEST_F(DebugChannel, ATextWithoutListenerCostsNoSystemCall)
{
    OutputDebugStringA("maps the control page");
    expect_known_to_be_dead();
    { // A listener starts and ends.
        const Listener listener;
    }
    expect_known_to_be_dead();
}

TEST_F(DebugChannel, ATextArrivesWholeOrCutToTheBufferButNeverInsideACharacter)
{
    Listener listener;
    for (const std::string character : {"x", "\xc3\xa4", "\xe2\x82\xac", "\xf0\x9f\x98\x80"})
        for (const size_t count : {0, 1, 1023, 4091, 4092, 100'000})
            for (size_t shift = 0; shift < character.size(); ++shift)
            {
                SCOPED_TRACE(character + " " + std::to_string(count));
                std::string text(shift, '.');
                for (size_t i = 0; i < count; ++i)
                    text += character;
                const size_t whole = std::min(count, (4091 - shift) / character.size());
                const std::string expected = text.substr(0, shift + whole * character.size());
                EXPECT_EQ(listener.echo(text), expected);
                OutputDebugStringW(test::Wide(text));
                EXPECT_EQ(listener.next(), expected);
                EXPECT_TRUE(listener.silent()) << "a long text is cut, not divided";
            }
    EXPECT_EQ(listener.writer(), GetCurrentProcessId());
    SetLastError(4711);
    errno = E2BIG;
    OutputDebugStringA("one");
    OutputDebugStringW(L"nobody takes the first"); // waits, but no listener takes it
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
        threads.emplace_back(write_numbered, name, texts);
    std::map<std::string, int> expected;
    for (int i = 0; i < 5 * texts; ++i)
    {
        const std::string text = listener.next();
        const std::string name = text.substr(0, 1);
        ASSERT_EQ(text, name + " " + std::to_string(expected[name]++)) << "after " << i << " texts";
    }
    threads.clear();
    EXPECT_EQ(expected.size(), 5u);
    EXPECT_TRUE(listener.silent());
}

// The program could close a file that were kept open, and reuse its descriptor.
TEST_F(DebugChannel, AWriterKeepsNoFileOfItsListenerOpen)
{
    const auto listener = other_listener("one");
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    {
        std::error_code gone;
        const std::string path = std::filesystem::read_symlink(entry, gone);
        EXPECT_FALSE(path.starts_with(PlinthTestSharedFolder())) << path;
    }
}

TEST_F(DebugChannel, AKilledListenerHoldsUpNobodyAndLeavesTheChannelFreeForANewOne)
{
    for (const int texts : {100, 0, 1})
    {
        other_listener("one")->finish(SIGKILL);
        EXPECT_LT(time_of([=] { write_many(texts); }), patience);
        if (texts > 1) // the first one still finds room in the buffer
            expect_known_to_be_dead();
        Listener listener;
        EXPECT_EQ(listener.creation_error(), ERROR_SUCCESS);
        EXPECT_EQ(listener.echo("two"), "two");
        EXPECT_EQ(ChildProcess("listen").line(), "error 183") << "a second one is told";
    }
}

TEST_F(DebugChannel, AProcessThatNeverMetAKilledListenerFindsItDead)
{
    other_listener()->finish(SIGKILL);
    OutputDebugStringA("text");
    expect_known_to_be_dead();
}

TEST_F(DebugChannel, AStoppedListenerCostsAllWritersOneWaitUntilItGoesOn)
{
    constexpr int texts = 20;
    const auto other = loaded("flood", {"other", std::to_string(texts)});
    const auto listener = other_listener("one");
    listener->finish(SIGSTOP);
    const milliseconds spent = time_of(
        [&]
        {
            OutputDebugStringA("text");
            std::vector<std::jthread> writers;
            for (int i = 0; i < 4; ++i)
                writers.emplace_back(write_many, texts);
            other->tell("go");
            other->wait();
        });
    EXPECT_LT(spent, texts / 4 * patience) << "each waiting on its own would take four times that";
    listener->send(SIGCONT);
    EXPECT_EQ(listener->line(), "text") << "what stood in the buffer";
    // Once the listener has signalled, texts arrive as before.
    std::string last;
    for (int i = 0; last != "again" && i < 10'000; ++i)
    {
        OutputDebugStringA("again");
        last = listener->line();
    }
    EXPECT_EQ(last, "again");
}

TEST_F(DebugChannel, AWriterKilledInItsTurnLeavesTheChannelUsable)
{
    PlinthTestSetChannelPatience(long_patience);
    const std::string three_texts = "text text text ";
    for (const std::string point : points)
    {
        SCOPED_TRACE(point);
        std::vector<std::unique_ptr<ChildProcess>> writers;
        for (int i = 0; i < 3; ++i)
            writers.push_back(loaded("write_texts", {point, std::to_string(SIGKILL)}));
        Listener listener;
        EXPECT_EQ(listener.echo("before"), "before");
        for (const auto& writer : writers)
        {
            writer->tell("last words");
            ASSERT_EQ(writer->wait(), 128 + SIGKILL);
            std::string seen = point == points[2] ? listener.next() + " " : "";
            std::jthread next(write_many, 3);
            for (int texts = point == points[1] ? 4 : 3; texts > 0; --texts)
                seen += listener.next() + " ";
            EXPECT_EQ(seen, (point == points[0] ? "" : "last words ") + three_texts);
            next.join();
            EXPECT_TRUE(listener.silent());
        }
    }
}

TEST_F(DebugChannel, AWriterStoppedInItsTurnCostsTheOthersOneWait)
{
    for (const char* const point : points)
    {
        SCOPED_TRACE(point);
        const auto writer = loaded("write_texts", {point, std::to_string(SIGSTOP)});
        Listener listener;
        writer->tell("slow words");
        writer->wait_until_stopped();
        constexpr int texts = 20;
        EXPECT_LT(time_of([] { write_many(texts); }), texts / 4 * patience);
        // Read at once: a writer that finds this listener still late would not wait for it again.
        std::string text = listener.next();
        writer->send(SIGCONT);
        if (text == "text") // from the writer that took over the turn
            text = listener.next();
        EXPECT_EQ(text, "slow words");
        EXPECT_EQ(writer->line(), "done");
        EXPECT_EQ(listener.echo("after"), "after");
    }
}

TEST_F(DebugChannel, AForkDuringConcurrentTextsHoldsUpNeitherSide)
{
    PlinthTestSetChannelPatience(long_patience);
    const auto other = loaded("flood", {"other", "20000", "patiently"});
    Listener listener;
    other->tell("go");
    std::jthread writer(write_many, 2000);
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
    std::set<DWORD> writers;
    while (writers.size() < 10)
    {
        const std::string text = listener.next();
        ASSERT_NE(text, "(nothing came)") << "only " << writers.size() << " came";
        if (text == "child")
            writers.insert(listener.writer());
    }
    std::jthread drain(
        [&]
        {
            for (std::string text; text != "end" && text != "(nothing came)";)
                text = listener.next();
            EXPECT_TRUE(listener.silent());
        });
    writer.join();
    other->wait();
    OutputDebugStringA("end");
    drain.join();
    for (const pid_t child : children)
    {
        EXPECT_TRUE(writers.contains(static_cast<DWORD>(child))) << "each under its own id";
        waitpid(child, nullptr, 0);
    }
}

TEST_F(DebugChannel, AStrangersControlPageIsMadeAnew)
{
    OutputDebugStringA("makes the page"); // and maps it: only the children find the stranger's
    const std::string page = PlinthTestSharedFolder() + std::string("/channel-3");
    ASSERT_TRUE(std::filesystem::remove(page)) << "the page has another name";
    test::write_file(page, std::string(4096, '\xff'));
    const auto writer = loaded("write_texts");
    const auto listener = other_listener();
    writer->tell("text");
    EXPECT_EQ(listener->line(), "text");
}
