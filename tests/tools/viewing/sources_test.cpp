// Log files and lines as records, written by the tests' own code; times of records, their rate, and
// the names of processes.
#include <unistd.h>

#include "support/test.h"

#include "failure.h"
#include "line_source.h"
#include "log_source.h"
#include "process_names.h"
#include "record_time.h"
#include "support/environment.h"
#include "view_options.h"

namespace
{

using namespace trace;

constexpr unsigned patience = 60'000; // ms
const char* const day = "qvapp_2024-03-05.log";

class Sources : public testing::Test
{
protected:
    const std::string folder = test::make_folder("logs");

    void append(const std::string& name, const std::string& text) const
    {
        std::ofstream(path(name), std::ios::app | std::ios::binary) << text;
    }
    std::string path(const std::string& name) const { return folder + "/" + name; }

    static Record next_record(Source& source)
    {
        Record record{.text = "nothing came"};
        source.next(record, patience);
        return record;
    }
    static std::string next(Source& source) { return next_record(source).text; }
};

TEST_F(Sources, AFolderIsFollowedAcrossASplitAndMidnightAndAFileThatBecomesShorter)
{
    append("qvapp_2024-03-04.log", "old\n");
    append(day, "2024-03-05 14:07:33.006 *vtq* one\r\nplain\r\n");
    LogSource source(folder);
    // The second has the time of the record before.
    for (const char* const text : {"2024-03-05 14:07:33.006 *vtq* one", "plain"})
    {
        const Record record = next_record(source);
        EXPECT_EQ(record.text, text);
        EXPECT_EQ(local_text(record.time), "2024-03-05 14:07:33.006") << text;
    }
    for (const auto& [name, text] : {std::pair{"qvapp_2024-03-05_(0001).log", "split"},
                                     {"qvapp_2024-03-06.log", "next day"},
                                     {"qvapp_2024-03-05_(0001).log", "the other goes on"}})
    {
        append(name, std::string(text) + "\n");
        EXPECT_EQ(next(source), text);
    }
    test::write_file(path(day), "anew\n");
    const Record gap = next_record(source);
    EXPECT_EQ(gap.lost, 1u);
    EXPECT_NE(gap.text.find("qvapp_2024-03-05.log has become shorter"), std::string::npos);
    EXPECT_EQ(next(source), "anew");
}

TEST_F(Sources, AFileIsReadFromItsStartAndALogFileGoesOn)
{
    append(day, "one\n");
    append("qvapp_2024-03-05_(0001).log", "not asked for\n");
    LogSource source(path(day));
    EXPECT_EQ(next(source), "one");
    append("qvapp_2024-03-05_(0002).log", "new\n");
    EXPECT_EQ(next(source), "new");

    append("other.txt", "alone\n");
    LogSource alone(path("other.txt"));
    EXPECT_EQ(next(alone), "alone");
    append("other.txt", "more\n");
    EXPECT_EQ(next(alone), "more");
}

// What a program has just made: it gets its mark and its first line after the viewer has looked.
TEST_F(Sources, AFileThatWasStillEmptyIsReadFromItsStart)
{
    append(day, "");
    LogFile file(find_logs(folder).at(0));
    file.seek_last_lines(20);
    EXPECT_EQ(file.read(), "");
    append(day, {"\xff\xfe\x61\0\r\0\n\0", 8});
    EXPECT_EQ(file.read(), "a\r\n");
}

TEST_F(Sources, ARecordThatTheLogHasCutEndsWhereTheNextBeginsAndStoppingGivesOutWhatWasRead)
{
    append(day, "2024-03-05 14:07:33.006 *vtq* cut2024-03-05 14:07:33.007 *vtq* "
                "two *vtq* marks\nrest");
    LogSource source(folder);
    EXPECT_EQ(next(source), "2024-03-05 14:07:33.006 *vtq* cut");
    EXPECT_EQ(next(source), "2024-03-05 14:07:33.007 *vtq* two *vtq* marks");
    EXPECT_EQ(next(source), "rest") << "without a line end, when nothing follows";
    append(day, "one\ntwo\nthree");
    EXPECT_EQ(next(source), "one");
    source.stop();
    EXPECT_FALSE(source.ended());
    EXPECT_EQ(next(source), "two");
    EXPECT_EQ(next(source), "three");
    EXPECT_TRUE(source.ended());
    Record record;
    EXPECT_FALSE(source.next(record, 0));
}

TEST_F(Sources, WhatIsNotThereIsAFailure)
{
    EXPECT_THROW(LogSource(path("missing")), Failure);
    EXPECT_THROW(LogSource{folder}, Failure) << "no log in it";
}

// Puts a pipe in the place of standard input, in this process of one test.
TEST_F(Sources, StandardInputGivesARecordALine)
{
    int pipe_ends[2];
    ASSERT_EQ(pipe(pipe_ends), 0);
    ASSERT_EQ(dup2(pipe_ends[0], STDIN_FILENO), STDIN_FILENO);
    const auto say = [&](const std::string& text) {
        ASSERT_EQ(write(pipe_ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    };
    LineSource source;
    Record record;
    EXPECT_FALSE(source.next(record, 0));
    say("one\r\nt");
    EXPECT_EQ(next(source), "one");
    EXPECT_FALSE(source.next(record, 0));
    say("wo \xff\n\n2024-03-05 14:07:33.006 *vtq* x\nlast");
    EXPECT_EQ(next(source), "two \uFFFD");
    EXPECT_EQ(next(source), "");
    EXPECT_EQ(local_text(next_record(source).time), "2024-03-05 14:07:33.006");
    close(pipe_ends[1]);
    EXPECT_EQ(next(source), "last");
    EXPECT_TRUE(source.ended());
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

} // namespace
