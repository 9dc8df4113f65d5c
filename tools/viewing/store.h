// The records that a viewer keeps: as many as fit into its memory, the oldest going first.
//
// Each record has a number, from 0 in order of arrival, which it keeps as long as it is here, over
// a clear too. Adding one takes constant time. Records are packed in blocks, which the system has
// back when the last of their records has gone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "record_block.h"

namespace trace
{

// What views and searches need for the records of a store, which counts in its memory.
class MemoryUse
{
public:
    void change(size_t before, size_t now) { m_bytes += now - before; }
    size_t bytes() const { return m_bytes; }

private:
    size_t m_bytes = 0;
};

class Store
{
public:
    static constexpr size_t default_limit = size_t{256} << 20; // bytes

    explicit Store(size_t limit = default_limit);

    // Gives the record its window. The newest stays whatever its size.
    void append(const RecordView& record);

    // Forgets what is kept, and gives its memory back; neither the numbers nor the counts start
    // anew. Views are told by View::cleared.
    void clear();

    // The kept ones are those from first up to end. The view is good until the next append.
    uint64_t first() const { return m_first; }
    uint64_t end() const { return m_end; }
    RecordView operator[](uint64_t number) const;

    // The first record that came at this time or later; end() if none did. Where the clock was set
    // back, one that is near.
    uint64_t number_at(Time time) const;

    uint64_t all() const { return m_all; }         // records that came, not counting losses
    uint64_t lost() const { return m_lost; }       // records that didn't
    uint64_t dropped() const { return m_dropped; } // those that went for want of memory
    size_t bytes() const;                          // with what views need
    Time start() const { return m_start; } // of the first record since the start or the last clear

    MemoryUse& use() const { return m_use; }

private:
    struct Part
    {
        RecordBlock block;
        uint64_t first; // the number of its first record
    };

    size_t part_of(uint64_t number) const;
    void add_part(const RecordView& record);
    void drop_oldest();

    size_t m_limit;
    size_t m_part_size; // bytes
    std::deque<Part> m_parts;
    mutable size_t m_last_part = 0;     // that was looked into last, mostly the next one too
    size_t m_part_bytes = 0;            // of all parts
    std::optional<RecordBlock> m_spare; // of the oldest part that went: its pages are there already
    mutable MemoryUse m_use;
    uint64_t m_first = 0;
    uint64_t m_end = 0;
    uint64_t m_all = 0;
    uint64_t m_lost = 0;
    uint64_t m_dropped = 0;
    Time m_start = unknown_time;
};

} // namespace trace
