// The records of a store that a filter lets through, in their order: rows.
//
// Records are examined step by step, the new ones and, behind a change of the filter, all that are
// kept. Both are the same walk along the store, so that neither makes a user wait for long: the
// caller says how many at a time. While the view is paused, the walk ends where the pause began.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "filter.h"
#include "store.h"

namespace trace
{

class View
{
public:
    // The store outlives the view.
    explicit View(const Store& store, Filter filter = {});

    // Starts over.
    void set_filter(Filter filter);
    const Filter& filter() const { return m_filter; }

    // To be called when the store was cleared: what is gone was not missed. A pause goes on from
    // here.
    void cleared();

    // Examines at most so many records; true if there are more.
    bool advance(size_t most);

    // Rows whose records are no longer kept: to be trimmed behind additions to the store, before
    // rows are looked at.
    size_t stale() const;
    void trim();

    size_t rows() const { return m_rows.size(); }
    uint64_t number(size_t row) const { return m_rows[row]; }
    const Record& record(size_t row) const { return m_store[m_rows[row]]; }
    // The row of a record, nothing if it isn't shown.
    std::optional<size_t> row_of(uint64_t number) const;

    void pause();
    void resume() { m_pause.reset(); }
    bool is_paused() const { return m_pause.has_value(); }
    uint64_t waiting() const; // records that came since the pause

    // Records that came and went before they were examined, since the last call: for want of
    // memory, during a pause.
    uint64_t take_missed();

private:
    uint64_t end() const;

    const Store& m_store;
    Filter m_filter;
    std::deque<uint64_t> m_rows; // ascending
    uint64_t m_next;             // the number to be examined next
    std::optional<uint64_t> m_pause;
    uint64_t m_seen; // no record before it was missed: it was examined once
    uint64_t m_missed = 0;
};

} // namespace trace
