// Log files as one stream of whole records. The tests write the files and shift the clock.
#include <sys/stat.h>

#include "support/test.h"

#include "failure.h"
#include "log_source.h"
#include "record_time.h"
#include "support/environment.h"
#include "time_option.h"
#include "zone.h"

namespace
{

using namespace trace;
using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

const char* const day = "qvapp_2024-03-05.log";
const char* const day_1 = "qvapp_2024-03-05_(0001).log";

// The stamp "2024-03-05 14:07:SS.mmm *vtq* " of so many milliseconds after 14:07.
std::string at(int milliseconds)
{
    char text[40];
    std::snprintf(text, sizeof text, "2024-03-05 14:07:%02d.%03d *vtq* ", milliseconds / 1000,
                  milliseconds % 1000);
    return text;
}

// The text in the form of a log. Only for ASCII.
std::string in_form(const std::string& text, bool wide)
{
    std::string bytes = wide ? "\xff\xfe" : "";
    for (const char c : text)
        bytes += wide ? std::string{c, '\0'} : std::string{c};
    return bytes;
}

class Records : public testing::Test
{
protected:
    const std::string folder = test::make_folder("logs");
    Moment moment{.wall = *time_from("2024-03-05 15:00", 0), .ticks = {}};

    std::string path(const std::string& name) const { return folder + "/" + name; }
    void append(const std::string& name, const std::string& bytes) const
    {
        std::ofstream(path(name), std::ios::app | std::ios::binary) << bytes;
    }
    void pass(std::chrono::milliseconds time)
    {
        moment.wall += time / 1us;
        moment.ticks += time;
    }
    std::unique_ptr<LogSource> open(const Texts& inputs, const LogBounds& bounds = {},
                                    LogSource::Begin begin = {})
    {
        return std::make_unique<LogSource>(
            LogInputs(inputs, false), bounds, [this] { return moment; }, std::move(begin));
    }
    // The texts of the records that come within a time, without the stamps; for a loss its text.
    Texts come(Source& source, std::chrono::milliseconds time = 2s,
               std::chrono::milliseconds step = 50ms)
    {
        Texts texts;
        for (auto passed = 0ms; passed <= time; passed += step, pass(step))
            for (Record record; source.next(record, 0);)
            {
                const std::optional<Stamp> stamp = stamp_of(record.text);
                texts.push_back(record.text.substr(stamp ? stamp->length : 0));
            }
        return texts;
    }
};

TEST_F(Records, AreCutAtStampsWhateverThePiecesInWhichTheyCome)
{
    const std::string session = at(0) + "Log session started.\r\n";
    const std::string lines(70'000, 'x');
    const struct
    {
        const char* what;
        std::string content;
        Texts records;
    } rows[] = {
        {"lines belong to the record before them",
         at(1) + "one\r\n  more\r\n\r\n" + at(2) + "two\r\n",
         {"one\r\n  more\r\n", "two"}},
        {"a record that the log has cut ends at the next stamp",
         at(1) + "cut" + at(2) + "two *vtq* marks\r\n",
         {"cut", "two *vtq* marks"}},
        {"without stamps of the program each line is a record",
         session + at(0) + "RDTSC instruction NOT present.\r\na\nb\r\n\nc",
         {"Log session started.", "RDTSC instruction NOT present.", "a", "b", "", "c"}},
        {"a stamp of no date is text",
         at(1) + "one\n2024-13-05 14:07:33.006 *vtq* x\n",
         {"one\n2024-13-05 14:07:33.006 *vtq* x"}},
        {"a text without an end", at(1) + "one\r\n" + at(2) + "rest", {"one", "rest"}},
        {"a record of one long line is whole",
         at(1) + lines + lines + "\n" + at(2) + "two\n",
         {lines + lines, "two"}},
        {"lines in their tens of thousands come in parts, cut at a line end",
         at(1) + "one\n" + lines.substr(0, 60'000) + "\n" + lines.substr(0, 60'000) + "\n",
         {"one\n" + lines.substr(0, 60'000), lines.substr(0, 60'000)}},
        {"a line of more than 1 MiB comes in parts",
         at(1) + std::string(1 << 20, 'x') + "\n",
         {std::string((1 << 20) - at(1).size(), 'x'), std::string(at(1).size(), 'x')}},
        {"nothing", "", {}},
    };
    for (const auto& row : rows)
        for (const bool wide : {false, true})
        {
            SCOPED_TRACE(std::string(row.what) + (wide ? ", wide" : ""));
            std::filesystem::remove(path(day));
            append(day, "");
            const auto growing = open({folder});
            const std::string bytes = in_form(row.content, wide);
            Texts texts;
            // Long ones not byte by byte, since each piece causes a search of the folder.
            for (size_t from = 0, piece = bytes.size() > 1000 ? 30'001 : 1; from < bytes.size();
                 from += piece)
            {
                append(day, bytes.substr(from, piece));
                for (const std::string& text : come(*growing, 0ms, 10ms))
                    texts.push_back(text);
            }
            for (const std::string& text : come(*growing))
                texts.push_back(text);
            EXPECT_EQ(texts, row.records) << "growing";
            EXPECT_EQ(come(*open({folder})), row.records) << "at once";
        }
}

TEST_F(Records, OfALineWithoutAStampHaveTheTimeOfTheOneBeforeAndSaySo)
{
    append(day, at(1) + "Log session started.\r\nline\r\n");
    const auto source = open({folder});
    Record first, line;
    ASSERT_TRUE(source->next(first, 0) && source->next(line, 0));
    EXPECT_EQ(line.time, first.time);
    EXPECT_EQ(std::pair(first.is_time_inherited, line.is_time_inherited), std::pair(false, true));
    EXPECT_NE(as_json(line).find("\"inherited\":true"), std::string::npos);
}

TEST_F(Records, TextWithoutAnEndIsWholeAfter250MillisecondsAndItsLateEndIsNoRecord)
{
    append(day, at(1) + "one\r\n" + at(2) + "begun");
    const auto source = open({folder});
    EXPECT_EQ(come(*source, 200ms), Texts{"one"});
    append(day, ", ended\r");
    EXPECT_EQ(come(*source, 200ms), Texts{});
    EXPECT_EQ(come(*source, 100ms), Texts{"begun, ended"});
    append(day, "\n");
    EXPECT_EQ(come(*source), Texts{});
    append(day, at(3) + "two\n");
    EXPECT_EQ(come(*source), Texts{"two"});
}

TEST_F(Records, OfSeveralFilesComeInTheOrderOfTheirTimesThenOfTheFiles)
{
    const std::string other = test::make_folder("other");
    append("qvapp_2024-03-05_(0010).log", at(3) + "tenth\n");
    append(day_1, at(3) + "first\n" + at(2) + "clock set back\n" + at(5) + "five\n");
    append(day, at(1) + "one\n" + at(3) + "three\nmore of it\n" + at(4) + "four\n");
    append("qvapp_2024-03-04.log",
           "2999-01-01 00:00:00.000 *vtq* wrong clock\n" + at(0) + "zero\n");
    std::ofstream(other + "/qvapp_2024-03-05.log") << at(3) + "second folder\n";
    EXPECT_EQ(come(*open({folder, other})),
              (Texts{"wrong clock", "zero", "one", "three\nmore of it", "second folder", "first",
                     "clock set back", "tenth", "four", "five"}));
}

// If a program is delayed between making a stamp and writing the record, the record comes late.
TEST_F(Records, WaitForOlderOnesOfOtherFilesAndOnlySoLong)
{
    moment.wall = *time_from("2024-03-05 14:07:00", 0);
    append(day, at(0) + "early\n");
    append(day_1, "");
    const auto source = open({folder});
    EXPECT_EQ(come(*source, 300ms), Texts{"early"});
    append(day, at(400) + "two\n");
    EXPECT_EQ(come(*source, 100ms), Texts{});
    append(day_1, at(390) + "one\n");
    append("qvapp_2024-03-06.log", at(380) + "of a new file\n");
    EXPECT_EQ(come(*source, 400ms), (Texts{"of a new file", "one", "two"}));
    append(day_1, at(100) + "late\n" + at(900) + "in time\n");
    EXPECT_EQ(come(*source, 0ms), Texts{"late"});
    EXPECT_EQ(come(*source), Texts{"in time"});
    moment.wall -= 3600 * second; // the clock is set back; the time before that still counts
    append(day, at(950) + "before\n2024-03-05 13:07:00.000 *vtq* after\n");
    EXPECT_EQ(come(*source, 400ms), (Texts{"before", "after"}));
}

// Also if the old file ends in a cut record, which becomes whole only later.
TEST_F(Records, AFileIsReadToItsEndBeforeTheOneThatFollowsIt)
{
    moment.wall = *time_from("2024-03-05 14:07:00", 0);
    std::string old;
    Texts expected;
    for (int i = 0; i < 5000; ++i)
    {
        expected.push_back("item " + std::to_string(i));
        old += at(i / 500) + expected.back() + "\r\n";
    }
    append(day, "");
    const auto source = open({folder});
    append(day, old + at(10) + "cut");
    append(day_1, at(10) + "Log session started.\r\n" + at(10) + "next\r\n");
    expected.insert(expected.end(), {"cut", "Log session started.", "next"});
    EXPECT_EQ(come(*source), expected);
}

TEST_F(Records, OfTheRepeatedAutumnHourHaveTheTimesThatTheirOrderGives)
{
    ASSERT_TRUE(use_zone("Europe/Berlin"));
    EXPECT_FALSE(use_zone("Europe/Nowhere"));
    moment.wall = *time_from("2024-10-28 00:00Z", 0);
    const char* const locals[] = {"01:59:59", "02:30:00", "02:10:00", "02:30:00", "03:00:00"};
    std::string content;
    for (const char* const local : locals)
        content += std::string("2024-10-27 ") + local + ".000 *vtq* x\n";
    append("qvapp_2024-10-27.log", content);
    const auto source = open({folder}, {.follows = false});
    Texts utc;
    for (Record record; source->next(record, 0);)
        utc.push_back(utc_text(record.time).substr(11, 8));
    EXPECT_EQ(utc, (Texts{"23:59:59", "00:30:00", "01:10:00", "01:30:00", "02:00:00"}));
}

// Reading begins in the second pass, but no record near it shows which pass it is.
TEST_F(Records, OfTheRepeatedHourHaveTheSameTimesWhereverReadingBegins)
{
    ASSERT_TRUE(use_zone("Europe/Berlin"));
    moment.wall = *time_from("2024-10-28 00:00Z", 0);
    const std::string rest(900, 'x');
    for (const int per_pass : {300, 30'000}) // beyond the part that is searched, and far beyond
    {
        std::string content = "2024-10-27 01:59:59.000 *vtq* before\n";
        for (int i = 0; i < 2 * per_pass; ++i)
        {
            char stamp[40];
            const int seconds = i % per_pass * 3600 / per_pass;
            std::snprintf(stamp, sizeof stamp, "2024-10-27 02:%02d:%02d.000 *vtq* ", seconds / 60,
                          seconds % 60);
            content += stamp + rest + '\n';
        }
        test::write_file(path("qvapp_2024-10-27.log"), content);
        for (const bool by_time : {false, true})
        {
            const auto source =
                by_time ? open({folder}, {.since = *time_from("2024-10-27 01:59:47Z", 0)})
                        : open({folder}, {.tail = 1});
            pass(1s);
            Record record;
            ASSERT_TRUE(source->next(record, 0)) << per_pass << by_time;
            EXPECT_EQ(utc_text(record.time).substr(11, 5), "01:59") << per_pass << by_time;
        }
    }
}

// A line that is added to a file of which nothing was shown.
TEST_F(Records, WithoutAStampHaveTheTimeOfTheLastOneAlsoIfThatWasNotWanted)
{
    for (const bool wide : {false, true})
    {
        const std::string file = wide ? day : day_1;
        append(file, in_form(at(1) + "Log session started.\n", wide));
        const auto source = open({folder}, {.tail = 0});
        append(file, in_form("line\n", wide).substr(wide ? 2 : 0));
        pass(1s);
        Record record;
        ASSERT_TRUE(source->next(record, 0));
        EXPECT_EQ(record.text, "line");
        EXPECT_TRUE(record.is_time_inherited);
        EXPECT_EQ(local_text(record.time), at(1).substr(0, 23));
    }
}

TEST_F(Records, OfAFileThatBeginsInTheRepeatedHourHaveTheTimeOfItsCreation)
{
    ASSERT_TRUE(use_zone("Europe/Berlin"));
    test::write_file(path("begun"), "2024-10-27 02:40:00.000 *vtq* x\n");
    for (const auto& [created, taken_for] : {std::pair{"2024-10-27 00:39Z", "00:40"},
                                             {"2024-10-27 01:40Z", "01:40"},
                                             {"2024-10-27 07:00Z", "00:40"}}) // a copy
    {
        LogName name;
        name.path = path("begun");
        name.created = static_cast<uint64_t>(*time_from(created, 0) - file_time(0)) * 10;
        LogReader reader(name, 0);
        ASSERT_NE(reader.look(moment), LogReader::Head::none);
        EXPECT_EQ(utc_text(reader.take().time).substr(11, 5), taken_for);
    }
}

TEST_F(Records, OfAFileThatCantBeReadAreMissedAloudAndThoseOfOthersCome)
{
    append(day, at(1) + "one\n");
    append(day_1, at(2) + "two\n");
    PlinthTestFail("open", 1, 1, EACCES);
    const Texts texts = come(*open({folder}));
    PlinthTestReset();
    ASSERT_EQ(texts.size(), 3u) << "the file is tried again";
    EXPECT_NE(texts[0].find("can't be opened"), std::string::npos) << texts[0];
    EXPECT_EQ(texts[1] + texts[2], "twoone");
}

TEST_F(Records, OfAFileThatCantBeReadAndIsRemovedThenAreMissedOnce)
{
    append(day, at(1) + "never read\n");
    PlinthTestFail("open", 1, 1, EACCES);
    const auto source = open({folder});
    EXPECT_EQ(come(*source, 100ms).size(), 1u);
    PlinthTestReset();
    std::filesystem::remove(path(day));
    EXPECT_EQ(come(*source), Texts{});
}

TEST_F(Records, OfAFileThatCantBeReadAtTheStartAreNotRepeatedWhenItIsResumed)
{
    append(day, at(1) + "exported before\n");
    const auto former = open({folder});
    EXPECT_EQ(come(*former), Texts{"exported before"});
    const auto resume = [&](LogReader& reader, const Moment& now)
    {
        try
        {
            reader.resume(former->giver()->progress(), former->giver()->mark(), now);
        }
        catch (const Failure&)
        {
        }
    };
    append(day, at(2) + "fresh\n");
    for (const unsigned failures : {1, 2, 3})
    {
        PlinthTestFail("open", 1, failures, EACCES);
        const Texts texts = come(*open({folder}, {}, resume), 4s);
        PlinthTestReset();
        ASSERT_EQ(texts.size(), failures == 1 ? 1u : 2u) << testing::PrintToString(texts);
        EXPECT_EQ(texts.back(), "fresh");
    }
    test::write_file(path(day), at(3) + "another file\n");
    PlinthTestFail("open", 1, 1, EACCES);
    EXPECT_EQ(come(*open({folder}, {}, resume)), Texts{"another file"});
    PlinthTestReset();
}

TEST_F(Records, OfAFileThatIsReplacedAfterItWasFoundComeOnceAndTheFormerOneIsMissed)
{
    static std::string place;
    place = path(day);
    append(day, at(1) + "never read\n");
    append("new", at(2) + "new\n");
    PlinthTestBefore(
        "open", 1,
        [] { std::filesystem::rename(place.substr(0, place.rfind('/')) + "/new", place); });
    const Texts texts = come(*open({folder}));
    PlinthTestReset();
    ASSERT_EQ(texts.size(), 2u) << testing::PrintToString(texts);
    EXPECT_NE(texts[0].find("removed before it was read"), std::string::npos) << texts[0];
    EXPECT_EQ(texts[1], "new");
}

TEST_F(Records, OfAFolderWithSeveralNamesComeOnce)
{
    append(day, at(1) + "one\n");
    std::filesystem::create_symlink(folder, folder + "/link");
    EXPECT_EQ(come(*open({folder, folder + "/./", folder + "/link", path(day)})), Texts{"one"});
}

TEST_F(Records, FilesThatAreCutReplacedOrRemovedAreNoticedAndOnesThatComeLaterFollowed)
{
    const auto source = open({folder}); // an empty folder
    append(day, at(1) + "one\n");
    EXPECT_EQ(come(*source), Texts{"one"});
    test::write_file(path(day), "anew\n");
    Texts texts = come(*source);
    ASSERT_EQ(texts.size(), 2u);
    EXPECT_NE(texts[0].find("qvapp_2024-03-05.log has become shorter"), std::string::npos);
    EXPECT_EQ(texts[1], "anew");
    test::write_file(path(day), "cut, and longer than it was by the next look\n");
    texts = come(*source);
    ASSERT_EQ(texts.size(), 2u);
    EXPECT_NE(texts[0].find("has become shorter"), std::string::npos);
    EXPECT_EQ(texts[1].substr(0, 4), "cut,");

    append(day, at(2) + "read though replaced\n");
    pass(50ms);
    append("new", at(2) + "another file under its name\n");
    std::filesystem::rename(path("new"), path(day));
    EXPECT_EQ(come(*source), (Texts{"read though replaced", "another file under its name"}));
    append(day, at(3) + "read though removed\n");
    pass(50ms);
    std::filesystem::remove(path(day));
    std::filesystem::create_directory(path(day));
    EXPECT_EQ(come(*source), Texts{"read though removed"});
    std::filesystem::remove(path(day));
    append(day, at(4) + "made anew\n");
    append("qvapp_2024-03-06.log", at(5) + "next day\n");
    EXPECT_EQ(come(*source), (Texts{"made anew", "next day"}));
}

TEST_F(Records, OfAFileComeFromItsStartAndALogFileGoesOnInOnesThatComeLater)
{
    append(day, at(1) + "one\n");
    append(day_1, at(1) + "not asked for\n");
    append("other.txt", "alone\n");
    const auto source = open({path(day), path("other.txt")});
    EXPECT_EQ(come(*source), (Texts{"alone", "one"}));
    append("qvapp_2024-03-05_(0002).log", at(2) + "new\n");
    append("other.txt", "more\n");
    EXPECT_EQ(come(*source), (Texts{"more", "new"}));
    EXPECT_THROW(open({path("missing")}), Failure);
}

TEST_F(Records, StoppingGivesOutWhatWasReadAndNoPart)
{
    append(day, at(1) + "one\n" + at(2) + "two\nrest");
    const auto source = open({folder});
    Record record;
    ASSERT_TRUE(source->next(record, 0));
    source->stop();
    EXPECT_FALSE(source->ended());
    EXPECT_EQ(come(*source, 0ms), Texts{"two\nrest"});
    EXPECT_TRUE(source->ended());
}

// Many more files than may be open at a time, with records in turns. Their numbers begin again
// after 9999.
TEST_F(Records, OfVeryManyFilesComeInOrderWithFewOfThemOpen)
{
    constexpr int numbers = 10'000;
    constexpr int first = 9'700;
    const int files = std::getenv("PLINTH_SOAK_SECONDS") ? numbers : 500;
    Texts expected;
    for (int i = 0; i < 3 * files; ++i)
    {
        expected.push_back(std::to_string(i));
        append("qvapp_2024-03-05_(" + std::to_string((first + i % files) % numbers) + ").log",
               at(i) + expected.back() + "\n");
    }
    const auto open_files = []
    {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::count_if(begin(all), end(all),
                             [](const auto& entry) { return entry.is_symlink(); });
    };
    const auto source = open({folder}, {.follows = false});
    Record record;
    ASSERT_TRUE(source->next(record, 0));
    EXPECT_LT(open_files(), 200);
    Texts texts = {"0"};
    while (source->next(record, 0)) // without searching the folder again
        texts.push_back(record.text.substr(stamp_of(record.text)->length));
    EXPECT_EQ(texts, expected);
    EXPECT_LT(open_files(), 200);
}

TEST_F(Records, AreBoundedByTimesAndByTheNumberOfTheLast)
{
    std::string one, two;
    for (int i = 0; i < 10'000; ++i)
        (i % 3 ? one : two) += at(i) + std::to_string(i) + "\r\n";
    append(day, one);
    append(day_1, in_form(two, true));
    append("qvapp_2024-03-05_(0002).log", at(9000) + "Log session started.\r\na line\r\n");
    append("qvapp_2024-03-04.log", "");
    const auto time = [](const char* text) { return *time_from(text, 0); };
    EXPECT_EQ(come(*open({folder}, {.since = time("2024-03-05 14:07:09.997"), .follows = false})),
              (Texts{"9997", "9998", "9999"}));
    EXPECT_EQ(come(*open({folder}, {.until = time("2024-03-05 14:07:00.001")})), (Texts{"0", "1"}));
    EXPECT_EQ(come(*open({folder}, {.since = time("2024-03-05 14:07:09"),
                                    .until = time("2024-03-05 14:07:09.001")})),
              (Texts{"9000", "Log session started.", "a line", "9001"}));
    for (const uint64_t count : {0, 1, 3, 4000})
    {
        const Texts texts = come(*open({folder}, {.tail = count, .follows = false}));
        ASSERT_EQ(texts.size(), count);
        EXPECT_EQ(count == 0 ? "9999" : texts.back(), "9999");
        EXPECT_EQ(count == 3 ? texts.front() : "9997", "9997");
    }
    const auto following = open({folder}, {.tail = 1});
    EXPECT_EQ(come(*following), Texts{"9999"});
    append(day, at(10'001) + "next\n");
    append("qvapp_2024-03-04.log", at(10'000) + "of a file that was empty\n");
    EXPECT_EQ(come(*following), (Texts{"of a file that was empty", "next"}));
}

TEST_F(Records, TheLastTensOfThousandsAreExactlySoMany)
{
    constexpr int count = 50'000;
    std::string files[2];
    for (int i = 0; i < count; ++i)
        files[i / 3 % 2] += at(i) + std::to_string(i) + "\n";
    append(day, files[0]);
    append(day_1, files[1]);
    const Texts texts = come(*open({folder}, {.tail = count - 5, .follows = false}), 0ms);
    EXPECT_EQ(texts.size(), size_t{count - 5});
    EXPECT_EQ(texts.front(), "5");
    EXPECT_EQ(come(*open({folder}, {.tail = 1, .follows = false}), 0ms),
              Texts{std::to_string(count - 1)});
}

// Reading it from its start would take longer than any test may.
TEST_F(Records, TheLastOnesOfAFileOfManyGigabytesAreThereWithoutReadingIt)
{
    append(day, at(1) + "first\r\n");
    std::filesystem::resize_file(path(day), uint64_t{1} << 42); // zeros, which take no room
    append(day, "\r\n" + at(2) + "last but one\r\n" + at(3) + "last\r\n");
    EXPECT_EQ(come(*open({folder}, {.tail = 2})), (Texts{"last but one", "last"}));
    EXPECT_EQ(come(*open({folder}, {.since = *time_from("2024-03-05 14:07:00.003", 0)})),
              Texts{"last"});
}

TEST(TimeOptions, AreDatesTimesOfTodayUtcOrSoLongAgo)
{
    const Time now = *time_from("2024-03-05 14:07:33.006", 0);
    for (const auto& [text, same] : {std::pair{"14:07", "2024-03-05 14:07:00.000"},
                                     {"2024-03-05T14:07", "2024-03-05 14:07:00.000"},
                                     {"33s", "2024-03-05 14:07:00.006"},
                                     {"1d", "2024-03-04 14:07:33.006"},
                                     {"2024-03-06", "2024-03-06 00:00:00.000"}})
        EXPECT_EQ(local_text(*time_from(text, now)), same) << text;
    EXPECT_EQ(utc_text(*time_from("2024-03-05 14:07Z", now)), "2024-03-05T14:07:00.000Z");
    for (const char* const text :
         {"", "soon", "25:00", "2024-13-01", "10", "-5m", "2024-03-05 14:07x"})
        EXPECT_FALSE(time_from(text, now)) << text;
}

} // namespace
