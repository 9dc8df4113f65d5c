// The records that a viewer keeps: as many as fit into its memory, the oldest going first.
//
// Each record has a number, from 0 in order of arrival, which it keeps as long as it is here, over
// a clear too. Adding one takes constant time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

#include "record.h"

namespace trace
{

class Store
{
public:
    static constexpr size_t default_limit = size_t{256} << 20; // bytes

    explicit Store(size_t limit = default_limit) : m_limit(limit) {}

    // Gives the record its window. The newest stays whatever its size.
    void append(Record record);

    // Forgets what is kept; neither the numbers nor the counts start anew.
    void clear();

    // The kept ones are those from first up to end.
    uint64_t first() const { return m_first; }
    uint64_t end() const { return m_first + m_records.size(); }
    const Record& operator[](uint64_t number) const { return m_records[number - m_first]; }

    uint64_t all() const { return m_all; }         // records that came, not counting losses
    uint64_t lost() const { return m_lost; }       // records that didn't
    uint64_t dropped() const { return m_dropped; } // those that went for want of memory
    size_t bytes() const { return m_bytes; }
    Time start() const { return m_start; } // of the first record since the start or the last clear

private:
    void drop_oldest();

    size_t m_limit;
    std::deque<Record> m_records;
    uint64_t m_first = 0;
    size_t m_bytes = 0;
    uint64_t m_all = 0;
    uint64_t m_lost = 0;
    uint64_t m_dropped = 0;
    Time m_start = unknown_time;
};

} // namespace trace
