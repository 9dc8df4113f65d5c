// The reading side of the ring: a cursor that follows the writer and knows exactly what it missed.
//
// Every index, length and number from the ring is checked. Each call takes a limited number of
// steps, and either moves the cursor or reports that there is nothing to read, so that nothing in
// the ring can make a reader crash or loop for ever.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ring_item.h"

namespace trace
{

enum class RingRead
{
    nothing, // no item is there yet, or the ring has another epoch
    item,
    lost,   // the reader has skipped texts that it can't read: see lost()
    broken, // the ring is damaged; the writer's next heartbeat may repair it
};

// What the writer reports of itself. The name is empty if there is none.
struct RingHolder
{
    uint32_t process = 0;
    std::string name{};
    uint64_t heartbeat = 0;    // 0: it has ended
    Time alive = unknown_time; // time of the last heartbeat
};

// Unknown if so many gaps have come since that the ring no longer has this one.
struct RingGapTimes
{
    Time since = unknown_time;
    Time until = unknown_time;
};

class RingReader
{
public:
    explicit RingReader(const RingView& ring) : m_ring(ring) {}

    // Joins at the end. False if there is no valid ring.
    bool join_at_end();
    // Joins at the first item of the epoch: for a reader that was here before it began.
    bool join_at_start();
    bool has_joined() const { return m_cursor.epoch != 0; }

    // The next item. item's fields are undefined unless the result is RingRead::item.
    RingRead next(RingItem& item);

    // After RingRead::lost: how many texts, and whether they were overwritten; otherwise they were
    // damaged.
    uint64_t lost() const { return m_lost; }
    bool was_overtaken() const { return m_was_overtaken; }

    // After RingRead::item: texts that writers gave up before it, and gaps whose items the reader
    // has missed.
    uint64_t take_unheard();
    std::vector<RingGapTimes> take_missed_gaps();

    const RingCursor& cursor() const { return m_cursor; }
    bool is_at_end() const;
    uint64_t epoch() const; // current one of the ring
    RingHolder holder() const;

private:
    struct Head
    {
        uint64_t committed;
        uint64_t number;
        uint64_t unheard;
        uint64_t gaps;
    };
    std::optional<Head> head() const;
    bool is_sound(const Head& head, uint64_t from, uint64_t number) const;
    bool has_limit();
    bool load(RingItem& item, RingItemHead& head) const;
    bool is_overtaken() const;
    bool accept(const RingItemHead& head);
    RingRead skip_ahead();
    RingGapTimes times_of_gap(uint64_t number) const;
    std::optional<RingCursor> segment_after(const Head& head) const;

    RingView m_ring;
    RingCursor m_cursor;
    uint64_t m_limit = 0; // items up to here are known to be whole
    uint64_t m_lost = 0;
    bool m_was_overtaken = false;
    uint64_t m_unheard = 0;
    uint64_t m_missed_gaps = 0; // before m_known_gaps
    uint64_t m_known_gaps = 0;
};

} // namespace trace
