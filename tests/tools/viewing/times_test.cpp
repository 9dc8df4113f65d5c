// Times of records, their rate, and the names of processes.
#include <gtest/gtest.h>

#include <unistd.h>

#include "line_format.h"
#include "process_names.h"
#include "rate_meter.h"
#include "record_time.h"

namespace
{

using namespace trace;
using namespace std::chrono_literals;

TEST(RecordTimes, AStampGivesTheLocalTimeThatIsShownAgain)
{
    const std::string text = "2024-02-29 23:59:59.999";
    const std::optional<Stamp> stamp = stamp_of(text + " *vtq* text *vtq* ");
    ASSERT_TRUE(stamp);
    EXPECT_EQ(stamp->length, 30u);
    EXPECT_EQ(local_text(time_of(*stamp)), text);
    for (const char* const none : {"2024-03-05 14:07:33.006 text", "x *vtq* ",
                                   "a text that is no stamp but long enough *vtq* "})
        EXPECT_FALSE(stamp_of(none)) << none;
    EXPECT_EQ(time_of(*stamp_of("once upon a time, twice *vtq* ")), unknown_time);
}

TEST(RecordTimes, AreShownAbsoluteSinceTheStartAndSinceThePrevious)
{
    Record record{.time = 5'000'001};
    const TimeBase base{.start = 1'000'000, .previous = 6'000'000};
    EXPECT_EQ(time_text(record, TimeMode::start, base), "4.000001");
    EXPECT_EQ(time_text(record, TimeMode::previous, base), "-0.999999");
    EXPECT_EQ(time_text(record, TimeMode::previous, {}), "0.000000") << "the first";
    EXPECT_EQ(time_text(record, TimeMode::none, base), "");
    EXPECT_EQ(utc_text(record.time), "1970-01-01T00:00:05.000Z");
    EXPECT_EQ(utc_text(-1000), "1969-12-31T23:59:59.999Z");
    record.time = unknown_time;
    for (const TimeMode mode : {TimeMode::absolute, TimeMode::start})
        EXPECT_EQ(time_text(record, mode, base), "");
}

constexpr std::chrono::steady_clock::time_point start{};

TEST(RecordRate, IsThatOfTheLastTwoSecondsOrOfTheTimeSinceTheStart)
{
    RateMeter rate(start);
    for (int i = 0; i < 100; ++i) // ten seconds at 1,000
        rate.add(100, start + i * 100ms);
    EXPECT_NEAR(rate.per_second(start + 9999ms), 1000, 60);
    EXPECT_NEAR(rate.per_second(start + 11s), 500, 60) << "one second of two is empty";
    EXPECT_EQ(rate.per_second(start + 13s), 0);
    rate.add(5, start + 3600s);
    EXPECT_NEAR(rate.per_second(start + 3601s), 2.5, 0.3);
    RateMeter young(start);
    young.add(50, start + 400ms);
    EXPECT_NEAR(young.per_second(start + 500ms), 100, 1);
}

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
    g_facts = {{.start = 1, .name = "one of many"}};
    for (DWORD process = 7; process < 10000; ++process)
        EXPECT_TRUE(names.name_of(process, start + 20s + process * 1ms));
}

TEST(ProcessNamesCache, TheSystemKnowsThisProgram)
{
    const std::optional<ProcessFacts> facts = facts_of(static_cast<DWORD>(getpid()));
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->name, "tools_viewing_tests");
    EXPECT_NE(facts->start, 0u);
    EXPECT_EQ(facts_of(0x7fffffff), std::nullopt);
}

} // namespace
