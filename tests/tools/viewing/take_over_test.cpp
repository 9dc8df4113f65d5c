// Which viewer has the debug string channel, and how it passes to the next one.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <functional>
#include <thread>

#include "support/child_process.h"
#include "support/test.h"

#include "listener.h"
#include "support/environment.h"

namespace
{

using namespace trace;
using test::ChildProcess;

constexpr unsigned patience = 60'000; // ms

struct StepName
{
    TakeOverStep step;
    const char* name;
};
constexpr StepName steps[] = {{TakeOverStep::named, "named"},
                              {TakeOverStep::made, "made"},
                              {TakeOverStep::mapped, "mapped"},
                              {TakeOverStep::continued, "continued"},
                              {TakeOverStep::listening, "listening"}};

// A viewer that prints the texts that it receives. With a step and a signal as arguments, it sends
// itself the signal at that step.
int view(int argc, char** argv)
{
    const std::string wanted = argc > 0 ? argv[0] : "";
    const int signal = argc > 1 ? std::atoi(argv[1]) : 0;
    Listener listener(
        [&](TakeOverStep step)
        {
            for (const StepName& row : steps)
                if (row.step == step && row.name == wanted)
                    ::raise(signal);
        });
    test::say("views");
    Record record;
    while (listener.next(record, patience))
        test::say(record.text);
    return 0;
}
const test::ChildMain g_view("view", view);

// Writes the text again and again until a child of view receives it; returns the child's lines
// before that.
std::vector<std::string> lines_until(ChildProcess& viewer, const std::string& text)
{
    std::atomic<bool> has_come{false};
    std::thread writer(
        [&]
        {
            for (; !has_come; Sleep(1))
                OutputDebugStringA(text.c_str());
        });
    std::vector<std::string> lines;
    for (std::string line = viewer.line(); line != text && !line.empty(); line = viewer.line())
        lines.push_back(line);
    has_come = true;
    writer.join();
    return lines;
}

// The listener of another program.
int occupy(int, char**)
{
    std::vector<HANDLE> objects;
    for (const char* const name : {"DBWIN_BUFFER_READY", "DBWIN_DATA_READY"})
        objects.push_back(CreateEventA(nullptr, FALSE, FALSE, name));
    test::say("occupies");
    test::hear();
    return 0;
}
const test::ChildMain g_occupy("occupy", occupy);

class TakeOver : public testing::Test
{
protected:
    static std::unique_ptr<ChildProcess> viewer(const std::vector<std::string>& arguments = {})
    {
        auto child = std::make_unique<ChildProcess>("view", arguments);
        EXPECT_EQ(child->line(), "views");
        return child;
    }
    // Writes again and again until the viewer receives the text, as a viewer may be taking over the
    // channel.
    static void expect_heard(Listener& listener, const std::string& text)
    {
        Record record;
        for (unsigned i = 0; i < patience; ++i)
        {
            OutputDebugStringA(text.c_str());
            while (listener.next(record, 1))
                if (record.text == text)
                    return;
        }
        ADD_FAILURE() << text << " did not come";
    }
    static Record next_loss(Listener& listener)
    {
        Record record;
        while (listener.next(record, patience))
            if (record.is_loss())
                return record;
        return record;
    }
    static std::string name_of(const ChildProcess& child)
    {
        return "(" + std::to_string(child.id()) + ")";
    }
    static bool has(const std::string& text, const std::string& part)
    {
        return text.find(part) != std::string::npos;
    }
};

TEST_F(TakeOver, ByAViewerThatIsKilledOnTheWayLeavesTheChannelToTheOthers)
{
    for (const StepName& row : steps)
    {
        SCOPED_TRACE(row.name);
        const auto former = viewer();
        const auto survivor = viewer();
        survivor->finish(SIGSTOP); // so that it doesn't take over first
        const auto next = viewer({row.name, std::to_string(SIGKILL)});
        former->finish(SIGKILL);
        EXPECT_EQ(next->wait(), 128 + SIGKILL);
        survivor->send(SIGCONT);
        const std::vector<std::string> lines = lines_until(*survivor, row.name);
        EXPECT_TRUE(std::any_of(lines.begin(), lines.end(),
                                [](const std::string& line)
                                { return has(line, "no viewer had the channel from "); }));
        survivor->finish(SIGKILL);
        Listener last;
        EXPECT_EQ(last.what(), "the debug string channel");
        expect_heard(last, row.name);
    }
}

TEST_F(TakeOver, ByAViewerThatIsStoppedOnTheWayGoesOnWithIt)
{
    for (const StepName& row : steps)
    {
        SCOPED_TRACE(row.name);
        const auto former = viewer();
        const auto next = viewer({row.name, std::to_string(SIGSTOP)});
        former->finish(SIGKILL);
        next->wait_until_stopped();
        Listener last;
        EXPECT_TRUE(has(last.what(), name_of(*next))) << last.what();
        OutputDebugStringA("nobody takes it yet");
        next->send(SIGCONT);
        expect_heard(last, row.name);
        next->finish(SIGKILL);
        const Record gap = next_loss(last);
        EXPECT_NE(gap.since, unknown_time);
        EXPECT_LE(gap.since, gap.time);
        EXPECT_LT(gap.time - gap.since, 10 * second) << "ten times what is promised";
        EXPECT_TRUE(has(gap.text, name_of(*next))) << gap.text;
        expect_heard(last, "after");
    }
}

TEST_F(TakeOver, AStoppedHolderKeepsTheChannelAndTheOthersSaySo)
{
    const auto holder = viewer();
    Listener listener;
    expect_heard(listener, "before");
    holder->finish(SIGSTOP);
    std::string news;
    for (unsigned i = 0; i < patience && news.empty(); ++i)
    {
        Sleep(1);
        news = listener.take_news();
    }
    EXPECT_TRUE(has(news, name_of(*holder) + " has the channel but does not run")) << news;
    EXPECT_EQ(listener.shut_out_by(), "");
    holder->send(SIGCONT);
    expect_heard(listener, "after");
}

TEST_F(TakeOver, AnotherProgramIsNamedAndWaitedFor)
{
    ChildProcess other("occupy");
    ASSERT_EQ(other.line(), "occupies");
    Listener listener;
    EXPECT_TRUE(has(listener.shut_out_by(), name_of(other))) << listener.shut_out_by();
    EXPECT_EQ(listener.take_news(), "") << "what() has said it";
    other.tell("");
    EXPECT_EQ(other.wait(), 0);
    expect_heard(listener, "for the listener");
    EXPECT_EQ(listener.take_news(), "this viewer has the channel now");
    EXPECT_EQ(listener.shut_out_by(), "");
}

TEST_F(TakeOver, WithoutSharedMemoryAViewerServesItsOwnUserAndSaysSo)
{
    // As a follower a viewer maps nine objects, then the channel's buffer.
    PlinthTestFail("CreateFileMapping", 11, 1, ERROR_DISK_FULL);
    Listener listener;
    expect_heard(listener, "for the listener");
    PlinthTestReset();
    EXPECT_TRUE(has(listener.what(), "can't pass its records on")) << listener.what();
}

} // namespace
