// Log files and lines as records. Text is written by the tests' own code.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include <unistd.h>

#include "failure.h"
#include "line_source.h"
#include "log_source.h"
#include "output_file.h"
#include "view_options.h"

namespace
{

using namespace trace;
namespace fs = std::filesystem;

constexpr unsigned patience = 60'000; // ms

class Sources : public testing::Test
{
protected:
    const fs::path folder = fs::path(std::getenv("PLINTH_ROOT")) / "logs";

    Sources() { fs::create_directories(folder); }

    void append(const std::string& name, const std::string& text) const
    {
        std::ofstream(folder / name, std::ios::app | std::ios::binary) << text;
    }

    static std::string next(Source& source)
    {
        Record record;
        return source.next(record, patience) ? record.text : "nothing came";
    }
};

TEST_F(Sources, AFolderIsFollowedAcrossASplitAndMidnight)
{
    append("qvapp_2024-03-04.log", "old\n");
    append("qvapp_2024-03-05.log", "2024-03-05 14:07:33.006 *vtq* one\r\nplain\r\n");
    LogSource source(folder.string());
    Record record;
    ASSERT_TRUE(source.next(record, patience));
    EXPECT_EQ(record.text, "2024-03-05 14:07:33.006 *vtq* one");
    EXPECT_EQ(local_text(record.time), "2024-03-05 14:07:33.006");
    ASSERT_TRUE(source.next(record, patience));
    EXPECT_EQ(record.text, "plain");
    EXPECT_EQ(local_text(record.time), "2024-03-05 14:07:33.006") << "of the record before";
    append("qvapp_2024-03-05_(0001).log", "split\n");
    EXPECT_EQ(next(source), "split");
    append("qvapp_2024-03-06.log", "next day\n");
    EXPECT_EQ(next(source), "next day");
    append("qvapp_2024-03-05_(0001).log", "the other goes on\n");
    EXPECT_EQ(next(source), "the other goes on");
}

TEST_F(Sources, AFileIsReadFromItsStartAndALogFileGoesOn)
{
    append("qvapp_2024-03-05.log", "one\n");
    append("qvapp_2024-03-05_(0001).log", "not asked for\n");
    LogSource source((folder / "qvapp_2024-03-05.log").string());
    EXPECT_EQ(next(source), "one");
    append("qvapp_2024-03-05_(0002).log", "new\n");
    EXPECT_EQ(next(source), "new");

    append("other.txt", "alone\n");
    LogSource alone((folder / "other.txt").string());
    EXPECT_EQ(next(alone), "alone");
    append("other.txt", "more\n");
    EXPECT_EQ(next(alone), "more");
}

// What a program has just made: it gets its mark and its first line after the viewer has looked.
TEST_F(Sources, AFileThatWasStillEmptyIsReadFromItsStart)
{
    append("qvapp_2024-03-05.log", "");
    LogFile file(find_logs(folder.string()).at(0));
    file.seek_last_lines(20);
    EXPECT_EQ(file.read(), "");
    append("qvapp_2024-03-05.log", {"\xff\xfe\x61\0\r\0\n\0", 8});
    EXPECT_EQ(file.read(), "a\r\n");
}

TEST_F(Sources, ARecordThatTheLogHasCutEndsWhereTheNextBegins)
{
    append("qvapp_2024-03-05.log", "2024-03-05 14:07:33.006 *vtq* cut2024-03-05 14:07:33.007 *vtq* "
                                   "two *vtq* marks\nrest");
    LogSource source(folder.string());
    EXPECT_EQ(next(source), "2024-03-05 14:07:33.006 *vtq* cut");
    EXPECT_EQ(next(source), "2024-03-05 14:07:33.007 *vtq* two *vtq* marks");
    EXPECT_EQ(next(source), "rest") << "without a line end, when nothing follows";
}

TEST_F(Sources, AFileThatBecomesShorterIsAGapThatIsCounted)
{
    append("qvapp_2024-03-05.log", "a long first line\n");
    LogSource source(folder.string());
    EXPECT_EQ(next(source), "a long first line");
    fs::resize_file(folder / "qvapp_2024-03-05.log", 0);
    append("qvapp_2024-03-05.log", "anew\n");
    Record record;
    ASSERT_TRUE(source.next(record, patience));
    EXPECT_EQ(record.lost, 1u);
    EXPECT_NE(record.text.find("qvapp_2024-03-05.log has become shorter"), std::string::npos);
    EXPECT_EQ(next(source), "anew");
}

TEST_F(Sources, ARemovedFileIsReadToItsEnd)
{
    append("qvapp_2024-03-05.log", "one\n");
    LogSource source(folder.string());
    EXPECT_EQ(next(source), "one");
    append("qvapp_2024-03-05.log", "last");
    fs::remove(folder / "qvapp_2024-03-05.log");
    append("qvapp_2024-03-06.log", "of the next\n");
    std::set<std::string> seen{next(source), next(source)};
    EXPECT_EQ(seen, (std::set<std::string>{"last", "of the next"}));
}

TEST_F(Sources, StoppingGivesOutWhatWasReadAndEnds)
{
    append("qvapp_2024-03-05.log", "one\ntwo\nthree");
    LogSource source(folder.string());
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
    EXPECT_THROW(LogSource((folder / "missing").string()), Failure);
    EXPECT_THROW(LogSource(folder.string()), Failure) << "no log in it";
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
    ASSERT_TRUE(source.next(record, patience));
    EXPECT_EQ(local_text(record.time), "2024-03-05 14:07:33.006");
    close(pipe_ends[1]);
    EXPECT_EQ(next(source), "last");
    EXPECT_TRUE(source.ended());
}

TEST(LineSplitting, ALineThatNeverEndsComesInParts)
{
    LineSplitter lines;
    std::vector<size_t> lengths;
    const auto take = [&](const std::string& line) { lengths.push_back(line.size()); };
    const std::string piece(700'000, 'x');
    for (int i = 0; i < 3; ++i)
        lines.feed(piece, take);
    lines.feed("\n\nend", take);
    EXPECT_EQ(lengths, (std::vector<size_t>{1 << 20, 1 << 20, 2'100'000 - (2 << 20), 0}));
    EXPECT_EQ(lines.take_rest(), "end");
}

class Saving : public Sources
{
protected:
    static std::string content_of(const fs::path& path)
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
};

TEST_F(Saving, ShownIsWhatTheFilterLetsThroughAndAllIsEverythingKept)
{
    Store store;
    for (const char* const text : {"one", "two", "three"})
        store.append({.time = 1'000'000, .process = 12, .text = text});
    store.append(loss_of(3, "3 records lost"));
    View view(store, {.exclude = {Pattern("two")}});
    view.advance(SIZE_MAX);
    const fs::path shown = folder / "shown \u00e9.txt";
    const LineStyle style{.colour = true, .highlights = Highlights({Pattern("one")})};
    EXPECT_EQ(save_shown(shown.string(), store, view, style), 3u);
    EXPECT_EQ(content_of(shown), "     12 ?             one\n     12 ?             three\n"
                                 "-- 3 records lost --\n");
    const fs::path all = folder / "all.txt";
    EXPECT_EQ(save_all(all.string(), store), 4u);
    EXPECT_NE(content_of(all).find(local_text(1'000'000) + "       12 ?             two\n"),
              std::string::npos)
        << content_of(all);
    EXPECT_EQ(save_all(shown.string(), Store()), 0u);
    EXPECT_EQ(content_of(shown), "") << "replaced";
    EXPECT_THROW(save_all((folder / "missing" / "x").string(), store), Failure);
    EXPECT_THROW(save_all("/dev/full", store), Failure);
}

TEST(ViewerOptions, SizesHaveUnitsAndALeast)
{
    const auto keep = [](const char* text)
    {
        Options options("watch", {"--keep", text});
        return *take_view_options(options).keep;
    };
    EXPECT_EQ(keep("65536"), 65536u);
    EXPECT_EQ(keep("500K"), 500u << 10);
    EXPECT_EQ(keep("2G"), size_t{2} << 30);
    for (const char* const text :
         {"1K", "65535", "", "M", "-1", "1T", "99999999999999999999", "18014398509481984K", "64 M"})
        EXPECT_THROW(keep(text), Failure) << text;
}

} // namespace
