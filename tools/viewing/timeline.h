// How many records there were in each of the last seconds, by highlight: the data of the strip
// above a table.
//
// The rows of a view are counted step by step, from the newest back to those that are too old, then
// new rows as they are added.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "highlights.h"
#include "outward_walk.h"
#include "view.h"

namespace trace
{

class Timeline
{
public:
    // Counts this number of seconds before the newest record. The view outlives the timeline.
    Timeline(const View& view, size_t seconds);

    // Starts again with these colours.
    void set_highlights(Highlights highlights);

    // Counts at most `most` records, or for at most `longest`; true if there are more. To be called
    // after the view's own steps.
    bool advance(size_t most);
    bool advance_for(std::chrono::steady_clock::duration longest);

    struct Second
    {
        uint32_t all = 0;                  // records
        std::vector<uint32_t> by_colour{}; // by the first highlight; may lack the last colours
        uint64_t lost = 0;                 // missing records in it
    };
    // The seconds in their order. The last one is that of the newest record.
    const std::deque<Second>& seconds() const { return m_seconds; }
    Time start() const { return m_start; } // of the first one; unknown_time without any

    // The first record of the view in this second or after it; nothing if there is none.
    std::optional<uint64_t> record_at(Time time) const;

private:
    void start_over();
    bool count(const RecordView& record, Time latest);
    Second* second_of(Time time);

    const View& m_view;
    const size_t m_most;
    Highlights m_highlights;
    std::deque<Second> m_seconds;
    Time m_start = unknown_time;
    OutwardWalk m_walk;
    uint64_t m_begin;      // of the walk: records before it are older and older
    uint64_t m_oldest = 0; // the walk doesn't continue before this
    uint64_t m_generation;
};

} // namespace trace
