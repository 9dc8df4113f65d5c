// The records of a store that a filter lets through, in their order: rows.
//
// Records are examined step by step, the new ones and, after a change of the filter, all that are
// kept. Both are the same walk along the store, so that neither makes a user wait for long: the
// caller says how many, or how long, at a time. The walk goes outward from a record, so that its
// neighbours are shown first. While the view is paused, the walk ends where the pause began.
//
// A table that shows the rows does at each step:
//
//   trim        as many rows as it returns have gone from the top, for want of memory;
//   advance     or advance_for;
//   take_added  so many rows were added at the top, and so many at the bottom.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "filter.h"
#include "outward_walk.h"
#include "row_set.h"
#include "store.h"

namespace trace
{

class View
{
public:
    using Clock = std::chrono::steady_clock;

    // The store outlives the view.
    explicit View(const Store& store, Filter filter = {});
    ~View();
    View(const View&) = delete;
    View& operator=(const View&) = delete;

    // Starts over without rows, from the record with the number `anchor` outward: what keeps the
    // place when a filter is changed. At the end of the store the last rows come first. Without an
    // anchor from the first record on.
    void set_filter(Filter filter, std::optional<uint64_t> anchor = std::nullopt);
    const Filter& filter() const { return m_filter; }

    // To be called when the store was cleared: what is gone was not missed. A pause goes on from
    // here.
    void cleared();

    // Changes when the rows start over: by set_filter and cleared.
    uint64_t generation() const { return m_generation; }

    // Examines at most so many records; true if there are more.
    bool advance(size_t most);
    // For about so long.
    bool advance_for(Clock::duration longest);
    // How much of what is to be examined has been: from 0 to 1.
    double progress() const;

    // Rows whose records are no longer kept: to be trimmed after additions to the store, before
    // rows are looked at. trim gives how many went.
    size_t stale() const { return m_rows.rank(m_store.first()); }
    size_t trim();

    // Rows that came since the last call, or since the rows started over. Asked after trim and
    // advance.
    struct Added
    {
        size_t top = 0;
        size_t bottom = 0;
    };
    Added take_added();

    size_t rows() const { return m_rows.size(); }
    uint64_t number(size_t row) const { return m_rows.number(row); }
    RecordView record(size_t row) const { return m_store[m_rows.number(row)]; }
    bool shows(uint64_t number) const { return m_rows.has(number); }
    // The row of a record, nothing if it isn't shown.
    std::optional<size_t> row_of(uint64_t number) const;
    // The row of the record, or of the one that is shown and nearest by number; nothing without
    // rows.
    std::optional<size_t> nearest_row(uint64_t number) const;
    // How many rows are above this record.
    size_t rows_before(uint64_t number) const { return m_rows.rank(number); }

    // The records that were examined are those from here up to there.
    uint64_t examined_from() const { return m_walk.low(); }
    uint64_t examined_to() const { return m_walk.high(); }

    void pause();
    void resume() { m_pause.reset(); }
    bool is_paused() const { return m_pause.has_value(); }
    uint64_t waiting() const; // records that came since the pause

    // Records that came and went before they were examined, since the last call: for want of
    // memory, during a pause.
    uint64_t take_missed();

    const Store& store() const { return m_store; }

private:
    uint64_t end() const;
    void start_over(uint64_t anchor);
    void count_use();

    const Store& m_store;
    Filter m_filter;
    RowSet m_rows;
    OutwardWalk m_walk;
    Added m_added;
    uint64_t m_generation = 0;
    std::optional<uint64_t> m_pause;
    uint64_t m_seen; // no record before it was missed: it was examined once
    uint64_t m_missed = 0;
    size_t m_use = 0; // bytes that the store counts
};

} // namespace trace
