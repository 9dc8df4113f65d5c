// Lines as records; times and rates of records, and the names of processes.
#include <csignal>
#include <filesystem>
#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

#include "support/test.h"

#include "failure.h"
#include "interruption.h"
#include "line_source.h"
#include "listener.h"
#include "log_files.h"
#include "plinth_platform_test.h"
#include "process_names.h"
#include "record_time.h"
#include "support/environment.h"
#include "support/wide_text.h"
#include "view_options.h"

namespace
{

using namespace trace;

constexpr unsigned patience = 60'000; // ms

class Sources : public testing::Test
{
protected:
    static Record next_record(Source& source)
    {
        Record record{.text = "nothing came"};
        source.next(record, patience);
        return record;
    }
    static std::string next(Source& source) { return next_record(source).text; }
};

// Replaces the standard input of this process by a pipe; the process runs only this test.
TEST_F(Sources, StandardInputGivesARecordALine)
{
    for (const bool wide : {false, true})
    {
        SCOPED_TRACE(wide ? "UTF-16" : "UTF-8");
        int pipe_ends[2];
        ASSERT_EQ(pipe(pipe_ends), 0);
        ASSERT_EQ(dup2(pipe_ends[0], STDIN_FILENO), STDIN_FILENO);
        const auto say = [&](const std::string& text)
        {
            const test::Wide units(text);
            const std::string bytes =
                wide ? std::string(reinterpret_cast<const char*>(units.c_str()), 2 * units.size())
                     : text;
            ASSERT_EQ(write(pipe_ends[1], bytes.data(), bytes.size()),
                      static_cast<ssize_t>(bytes.size()));
        };
        LineSource source;
        Record record;
        EXPECT_FALSE(source.next(record, 0));
        if (wide)
            say("\uFEFF");
        say("one\r\nt");
        EXPECT_EQ(next(source), "one");
        EXPECT_FALSE(source.next(record, 0));
        say("wo \u20ac\n\n2024-03-05 14:07:33.006 *vtq* x\nlast");
        EXPECT_EQ(next(source), "two \u20ac");
        EXPECT_EQ(next(source), "");
        EXPECT_EQ(local_text(next_record(source).time), "2024-03-05 14:07:33.006");
        close(pipe_ends[1]);
        EXPECT_EQ(next(source), "last");
        EXPECT_TRUE(source.ended());
        close(pipe_ends[0]);
    }
}

// The test follows the writer's side of the protocol itself: the system's writers have no other way
// to continue.
TEST(ListenerOfTheChannel, ThatEndsLetsAWriterGoOnThatCameBackBeforeItsObjectsWent)
{
    auto listener = std::make_unique<Listener>();
    const HANDLE free = OpenEventA(SYNCHRONIZE, FALSE, "DBWIN_BUFFER_READY");
    const auto is_freed = [&] { return WaitForSingleObject(free, 10'000) == WAIT_OBJECT_0; };
    EXPECT_TRUE(is_freed());
    std::make_unique<Listener>().reset();
    EXPECT_EQ(WaitForSingleObject(free, 0), DWORD{WAIT_TIMEOUT}) << "it only follows";
    listener.reset();
    EXPECT_TRUE(is_freed());
    CloseHandle(free);
}

// Seen by the calls that set a priority: whether they succeed depends on the user's rights.
TEST(ListenerOfTheChannel, WhoseReaderIsFarBehindRunsBeforeItNoLonger)
{
    PlinthTestArm();
    PlinthTestSetChannelPatience(patience);
    const auto chosen = [](unsigned times)
    {
        const ULONGLONG end = GetTickCount64() + patience;
        while (PlinthTestCalls("sched_setscheduler") < times && GetTickCount64() < end)
            Sleep(1);
        return PlinthTestCalls("sched_setscheduler") == times;
    };
    Listener listener([](TakeOverStep) {}, 1 << 20);
    EXPECT_TRUE(chosen(1));
    const std::string text(1000, 'x');
    constexpr int half_of_it = 500;
    for (int i = 0; i < half_of_it; ++i)
        OutputDebugStringA(text.c_str());
    EXPECT_TRUE(chosen(2)) << "it gives way";
    Record record;
    for (int i = 0; i < half_of_it; ++i)
        EXPECT_TRUE(listener.next(record, patience));
    EXPECT_FALSE(listener.next(record, 0));
    OutputDebugStringA("one more");
    EXPECT_TRUE(chosen(3)) << "it comes first again";
    PlinthTestReset();
}

TEST(LineSplitting, ALineThatNeverEndsComesInParts)
{
    LineSplitter lines;
    std::vector<size_t> lengths;
    for (const std::string& piece : {std::string(2'100'000, 'x'), std::string("\n\nend")})
        lines.feed(piece, [&](const std::string& line) { lengths.push_back(line.size()); });
    EXPECT_EQ(lengths, (std::vector<size_t>{1 << 20, 1 << 20, 2'100'000 - (2 << 20), 0}));
    EXPECT_EQ(lines.take_rest(), "end");
}

TEST(ViewerOptions, SizesHaveUnitsAndALeast)
{
    const auto keep = [](const char* text)
    {
        Options options("watch", {"--keep", text});
        return *take_view_options(options).keep;
    };
    EXPECT_EQ(keep("500K"), 500u << 10);
    EXPECT_EQ(keep("2G"), size_t{2} << 30);
    for (const char* const text : {"65535", "M", "1T", "18014398509481984K"})
        EXPECT_THROW(keep(text), Failure) << text;
}

// ---- times, rates and names

using namespace std::chrono_literals;

TEST(RecordTimes, AStampGivesTheLocalTimeThatIsShownAgain)
{
    const std::string text = "2024-02-29 23:59:59.999";
    const std::string record = text + " *vtq* text *vtq* ";
    const std::optional<Stamp> stamp = stamp_of(record);
    ASSERT_TRUE(stamp);
    EXPECT_EQ(stamp->length, 30u);
    EXPECT_EQ(local_text(time_of(*stamp)), text);
    EXPECT_FALSE(stamp_of("a text that is no stamp but long enough *vtq* "));
    EXPECT_EQ(time_of(*stamp_of("once upon a time, twice *vtq* ")), unknown_time);
}

TEST(RecordTimes, AreShownAbsoluteSinceTheStartAndSinceThePrevious)
{
    Record record{.time = 5'000'001};
    const TimeBase base{.start = 1'000'000, .previous = 6'000'000};
    EXPECT_EQ(time_text(record, TimeMode::start, base), "4.000001");
    EXPECT_EQ(time_text(record, TimeMode::previous, base), "-0.999999");
    EXPECT_EQ(time_text(record, TimeMode::previous, {}), "0.000000") << "the first";
    EXPECT_EQ(utc_text(-1000), "1969-12-31T23:59:59.999Z");
    record.time = unknown_time;
    for (const TimeMode mode : {TimeMode::absolute, TimeMode::start})
        EXPECT_EQ(time_text(record, mode, base), "");
}

constexpr std::chrono::steady_clock::time_point start{};

int g_asked;
std::optional<ProcessFacts> g_facts;

std::optional<ProcessFacts> told(DWORD)
{
    ++g_asked;
    return g_facts;
}

TEST(ProcessNamesCache, AsksOnceAndKeepsTheNameOfOneThatHasEnded)
{
    ProcessNames names(told);
    g_asked = 0;
    g_facts = {{.start = 1, .name = "first"}};
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(*names.name_of(5, start + i * 1ms), "first");
    EXPECT_EQ(g_asked, 1);
    g_facts.reset();
    EXPECT_EQ(*names.name_of(5, start + 10s), "first");
    g_facts = {{.start = 2, .name = "second"}};
    EXPECT_EQ(*names.name_of(5, start + 20s), "second") << "the id was given again";
    g_facts.reset();
    EXPECT_EQ(names.name_of(6, start + 20s), nullptr);
}

TEST(LogFile, WhosePlaceAPipeTakesBeforeItIsOpenedEndsByTheUsersSignal)
{
    static const std::string place = test::root() + "/qvapp_2024-03-05.log";
    std::ofstream(place) << "a line\n";
    trace::LogName name;
    name.path = "C:" + place;
    trace::catch_interruption();
    PlinthTestBefore("open", 1,
                     []
                     {
                         std::filesystem::remove(place);
                         ASSERT_EQ(::mkfifo(place.c_str(), 0600), 0);
                         std::raise(SIGINT); // ends the wait; the signal comes again after a second
                     });
    EXPECT_THROW(trace::LogFile{name}, trace::Interrupted);
    PlinthTestReset();
    ::alarm(0);
}

} // namespace
