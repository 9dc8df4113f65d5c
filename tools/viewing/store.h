// The records that a viewer keeps: as many as fit into its memory; the oldest are dropped first.
//
// Each record has a number, counted from 0 in order of arrival. It keeps the number as long as it
// is here; clear doesn't restart the count. Adding a record takes constant time. Records are packed
// in blocks; a block is returned to the system when the last of its records was dropped.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "record_block.h"

namespace trace
{

// The memory that views and searches need for the records of a store; the store counts it as its
// own.
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

    // Sets the record's window from its text. The newest record stays whatever its size.
    void append(const RecordView& record);

    // Drops all records and frees their memory; neither the numbers nor the counts restart. The
    // caller must call View::cleared.
    void clear();

    // Kept records are those from first up to end. The view is valid until the next append.
    uint64_t first() const { return m_first; }
    uint64_t end() const { return m_end; }
    RecordView operator[](uint64_t number) const;

    // The first record at this time or later; end() if there is none. Where the clock was set back,
    // a record near it.
    uint64_t number_at(Time time) const;

    uint64_t all() const { return m_all; }         // records that came, not counting losses
    uint64_t lost() const { return m_lost; }       // records that were lost
    uint64_t dropped() const { return m_dropped; } // records that were removed for lack of memory
    size_t bytes() const;                          // with the memory of views
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
    mutable size_t m_last_part = 0;     // last one that was used, often the next one too
    size_t m_part_bytes = 0;            // of all parts
    std::optional<RecordBlock> m_spare; // the oldest removed part: its pages are resident
    mutable MemoryUse m_use;
    uint64_t m_first = 0;
    uint64_t m_end = 0;
    uint64_t m_all = 0;
    uint64_t m_lost = 0;
    uint64_t m_dropped = 0;
    Time m_start = unknown_time;
};

} // namespace trace
