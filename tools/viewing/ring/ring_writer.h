// The writing side of the ring. Only the viewer that has the channel may have one.
//
// After construction it reads nothing from the ring: its place and its counts are its own, and it
// writes all words of the header again and again, so that a damaged word is repaired within a
// heartbeat.
#pragma once

#include <string>

#include "ring_item.h"

namespace trace
{

class RingWriter
{
public:
    // Continues where the former writer ended, with the same epoch and the same numbers.
    RingWriter(const RingView& ring, const RingCursor& cursor);
    // Makes a new ring. epoch: not 0, and not one that the ring had before.
    RingWriter(const RingView& ring, uint64_t epoch);

    // Sets who writes. To be called before the first item.
    void sign(uint32_t process, const std::string& name);

    void put_text(const RingItemView& item);
    // No viewer had the channel from item.since to item.time.
    void put_gap(RingItemView item);
    // This number of further texts was given up by their writers.
    void put_unheard(uint64_t count, Time time);

    // Shows readers that the writer runs. Without it they take the writer for stopped.
    void beat(Time time);
    // Tells readers that the writer has ended.
    void end(Time time);

    uint64_t number() const { return m_cursor.number; } // texts so far

private:
    void put(const RingItemView& item);
    void make_room(uint32_t size);
    void enter_segment();
    void write(const RingItemHead& head, const RingItemView& item);
    void commit();
    void publish_tables();

    RingView m_ring;
    RingCursor m_cursor;
    uint64_t m_reserved; // end of the newest segment
    uint64_t m_updates = 0;
    uint32_t m_beats = 0;
    uint32_t m_process = 0;
    std::string m_name;
    struct Segment
    {
        uint64_t sequence;
        uint64_t first;
    };
    std::array<Segment, ring_segments> m_segments{};
    struct Gap
    {
        uint64_t number;
        Time since;
        Time until;
    };
    std::array<Gap, ring_gaps> m_gaps{};
};

} // namespace trace
