// The records of a store that pass a filter, in their order: rows.
//
// Records are examined step by step: new ones and, after a change of the filter, all kept ones.
// Both are parts of the same walk along the store, so that neither makes a user wait for long: the
// caller limits the number or the time of each step. The walk starts at a record and moves outward,
// so that the record's neighbours are shown first. While the view is paused, the walk ends where
// the pause began.
//
// A table that shows the rows does at each step:
//
//   trim        returns how many rows were removed at the top, for lack of memory;
//   advance     or advance_for;
//   take_added  returns how many rows were added at the top and at the bottom.
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

    // Starts again without rows, from the record with the number `anchor` outward, which keeps the
    // user's place when the filter changes. An anchor at the end of the store shows the last rows
    // first. Without an anchor the walk starts at the first record.
    void set_filter(Filter filter, std::optional<uint64_t> anchor = std::nullopt);
    const Filter& filter() const { return m_filter; }

    // To be called when the store was cleared: removed records don't count as missed. A pause
    // continues from here.
    void cleared();

    // Changes when the rows start again: in set_filter and cleared.
    uint64_t generation() const { return m_generation; }

    // Examines at most `most` records; true if there are more.
    bool advance(size_t most);
    // The same for about `longest`.
    bool advance_for(Clock::duration longest);
    // Which part of the records to examine has been examined, from 0 to 1.
    double progress() const;

    // Rows whose records are no longer kept. Call trim after additions to the store, before rows
    // are used; it returns how many rows were removed.
    size_t stale() const { return m_rows.rank(m_store.first()); }
    size_t trim();

    // Rows that were added since the last call, or since the rows started again. To be called after
    // trim and advance.
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
    // The row of the record, or of the shown record with the nearest number; nothing without rows.
    std::optional<size_t> nearest_row(uint64_t number) const;
    // How many rows are above this record.
    size_t rows_before(uint64_t number) const { return m_rows.rank(number); }

    // The examined records are those from examined_from up to examined_to.
    uint64_t examined_from() const { return m_walk.low(); }
    uint64_t examined_to() const { return m_walk.high(); }

    void pause();
    void resume();
    bool is_paused() const { return m_pause.has_value(); }
    uint64_t waiting() const; // records that came since the pause

    // Records that were removed before they were examined, since the last call: for lack of memory,
    // because of a pause.
    uint64_t take_missed();

    const Store& store() const { return m_store; }

private:
    uint64_t end() const;
    void start_over(uint64_t anchor);
    void count_missed();
    void count_use();

    const Store& m_store;
    Filter m_filter;
    RowSet m_rows;
    OutwardWalk m_walk;
    Added m_added;
    uint64_t m_generation = 0;
    std::optional<uint64_t> m_pause;
    uint64_t m_held_to = 0; // records before it waited for the end of a pause
    uint64_t m_seen;        // records before it were examined once, so they were not missed
    uint64_t m_missed = 0;
    size_t m_use = 0; // bytes that the store counts
};

} // namespace trace
