// The ring through which viewers share records: what is read, what is counted as lost, and the
// effect of damaged memory.
#include <atomic>
#include <random>
#include <thread>

#include "support/test.h"

#include "ring/ring_follower.h"
#include "ring/ring_share.h"
#include "ring/ring_writer.h"

namespace
{

using namespace trace;

constexpr uint64_t first_epoch = 7;

// A ring in its named memory, its writer, and a viewer that opened it before the writer began.
class Ring : public testing::Test
{
protected:
    Ring()
    {
        EXPECT_TRUE(memory.open(RingMemory::Access::write) && follower.open());
        writer.emplace(memory.view(), first_epoch);
        writer->sign(GetCurrentProcessId(), "holder");
        writer->beat(current_time());
    }

    void put(const std::string& text, const std::string& name = "a name")
    {
        writer->put_text({.time = current_time(), .process = 4711, .name = name, .text = text});
    }
    // Puts a text that begins with its number.
    void put_number(size_t length)
    {
        std::string text = std::to_string(writer->number()) + " ";
        put(text.append(length, 'x'));
    }
    // Reads from the follower, up to a limit, and checks that each number is the count of texts
    // shown and lost before.
    void read(size_t most = SIZE_MAX)
    {
        Record record;
        for (; most > 0 && follower.next(record); --most)
        {
            shown += record.is_loss() ? 0 : 1;
            lost += record.lost;
            if (!record.is_loss() && !record.text.empty() && std::isdigit(record.text[0]))
            {
                ASSERT_EQ(std::stoull(record.text) + 1, shown + lost);
            }
            last = std::move(record);
        }
    }
    std::string next()
    {
        Record record;
        return follower.next(record) ? record.text : "nothing";
    }

    RingMemory memory;
    RingFollower follower;
    std::optional<RingWriter> writer;
    uint64_t shown = 0;
    uint64_t lost = 0;
    Record last;
};

TEST_F(Ring, GivesTextsAsTheyWerePutAndTellsOfGapsAndOfTextsThatWritersGaveUp)
{
    const std::string longest(longest_ring_text, 'x');
    for (const std::string& text : {std::string(), std::string("h\u00e9\0\n", 5), longest})
    {
        put(text, text.substr(0, 300));
        Record record;
        ASSERT_TRUE(follower.next(record));
        EXPECT_EQ(record.text, text);
        EXPECT_EQ(record.process, 4711u);
        EXPECT_EQ(record.name ? *record.name : "", text.substr(0, longest_ring_name));
    }
    put(longest + "too long");
    EXPECT_EQ(next(), longest);
    EXPECT_EQ(next(), "nothing");

    writer->put_unheard(5, current_time());
    EXPECT_EQ(next().substr(0, 14), "5 records lost");
    const Time now = current_time();
    writer->put_gap({.time = now, .since = now - second, .process = 12, .name = "former"});
    Record gap;
    ASSERT_TRUE(follower.next(gap));
    EXPECT_EQ(std::tuple(gap.lost, gap.since, gap.time), std::tuple(1u, now - second, now));
    EXPECT_NE(gap.text.find("former (12)"), std::string::npos) << gap.text;
    // Impossible times are not reported; that the number is unknown still is.
    writer->put_gap({.time = now, .since = now + second, .process = 12});
    ASSERT_TRUE(follower.next(gap));
    EXPECT_NE(as_json(gap).find("\"lost\":1,\"uncounted\":true,\"text\""), std::string::npos);
    EXPECT_EQ(follower.taken(), 4u) << "texts alone";
}

TEST_F(Ring, AReaderCountsExactlyWhatItMissesHoweverSlowItIs)
{
    for (const size_t read_of_1000 : {1000u, 999u, 500u, 10u, 1u, 0u})
    {
        SCOPED_TRACE(read_of_1000);
        const uint64_t lost_before = lost;
        const uint64_t shown_before = shown;
        std::minstd_rand random(1);
        for (int round = 0; round < 40; ++round) // fills the ring several times
        {
            for (int i = 0; i < 1000; ++i)
                put_number(random() % 2000);
            read(read_of_1000);
        }
        for (RingSegment& segment : memory.view().header->segments)
            segment.sequence.store(random()); // the next heartbeat puts it right
        writer->beat(current_time());
        read();
        EXPECT_EQ(shown + lost, writer->number());
        EXPECT_EQ(follower.taken(), writer->number());
        EXPECT_EQ(lost > lost_before, read_of_1000 <= 500);
        EXPECT_GT(shown, shown_before + 3000) << "what is there is still read";
    }
    EXPECT_GT(shown, 100'000u);
}

TEST_F(Ring, ConcurrentReadersOfAWriterAtFullSpeedGetWholeTextsAndExactCounts)
{
    constexpr uint64_t count = 200'000;
    std::atomic<bool> ended{false};
    std::thread other(
        [&]
        {
            for (uint64_t i = 0; i < count; ++i)
                put_number(i % 300);
            ended = true;
        });
    while (!ended)
        read();
    other.join();
    read();
    EXPECT_EQ(shown + lost, count);
}

// A viewer that has the channel ends, and the next one has not read to the end.
TEST_F(Ring, GoesOnUnderANewWriterWithTheSameNumbers)
{
    for (int i = 0; i < 30'000; ++i)
        put_number(50);
    RingFollower next_holder;
    ASSERT_TRUE(next_holder.open() && next_holder.end());
    writer.emplace(memory.view(), *next_holder.end());
    writer->put_gap({.time = current_time(), .since = current_time(), .process = 12});
    read();
    EXPECT_EQ(shown, 30'000u);
    EXPECT_EQ(lost, 1u) << "the gap";
    lost = 0;
    put_number(1);
    read();
    EXPECT_EQ(shown, writer->number());
}

TEST_F(Ring, AnyScribbledWordCostsACountedNumberOfRecordsAtMost)
{
    std::minstd_rand random(1);
    auto* const header = reinterpret_cast<RingWord*>(memory.view().header);
    constexpr size_t header_words = sizeof(RingHeader) / sizeof(RingWord);
    constexpr size_t item_words = 40; // several items
    for (size_t word = 0; word < header_words + item_words; ++word)
        for (const uint64_t value : {uint64_t{0}, uint64_t{1}, UINT64_MAX, uint64_t{random()},
                                     uint64_t{random()} << 32 | random()})
        {
            SCOPED_TRACE(std::to_string(word) + " with " + std::to_string(value));
            // Opened here, so that these items are not read yet.
            RingFollower here;
            ASSERT_TRUE(here.open() && here.end());
            RingWord* const items = memory.view().at(here.end()->at);
            for (int i = 0; i < 10; ++i)
                put_number(20);
            (word < header_words ? header[word] : items[word - header_words]).store(value);
            read(100);
            put_number(20);
            read(100);
            writer->beat(current_time());
            put("the last");
            read(100);
            EXPECT_EQ(last.text, "the last");
            ASSERT_EQ(shown + lost, writer->number());
            ASSERT_EQ(follower.taken(), writer->number());
        }
    EXPECT_GT(shown, writer->number() / 2);
}

// Made by a viewer that takes over the channel and finds no end of the old ring.
TEST_F(Ring, MadeAnewIsFollowedFromItsStartAfterAMomentAndTheGapIsTold)
{
    put("old");
    EXPECT_EQ(next(), "old");
    const Time since = current_time() - second;
    RingShare share;
    ASSERT_TRUE(share.start(RingFollower(), since, [](TakeOverStep) {}));
    share.put(Record{.time = current_time(), .text = "one"});
    Record record, gap;
    while (!follower.next(record))
        Sleep(1);
    EXPECT_TRUE(record.is_uncounted);
    EXPECT_NE(record.text.find("made anew"), std::string::npos);
    ASSERT_TRUE(follower.next(gap));
    EXPECT_EQ(gap.since, since);
    EXPECT_EQ(next(), "one");
}

} // namespace
