#include "view.h"

#include <algorithm>
#include <utility>

#include "advance_in_time.h"

namespace trace
{

View::View(const Store& store, Filter filter)
    : m_store(store), m_filter(std::move(filter)), m_walk(store.first()), m_seen(store.first())
{
}

View::~View()
{
    m_store.use().change(m_use, 0);
}

void View::set_filter(Filter filter, std::optional<uint64_t> anchor)
{
    m_filter = std::move(filter);
    start_over(anchor.value_or(m_store.first()));
}

void View::cleared()
{
    start_over(m_store.first());
    m_seen = m_store.first();
    if (m_pause)
        m_pause = m_store.end();
}

bool View::advance(size_t most)
{
    count_missed();
    const uint64_t first = m_store.first();
    const uint64_t high = m_walk.high();
    const bool more = m_walk.advance(first, end(), most,
                                     [&](uint64_t number)
                                     {
                                         if (!m_filter.passes(m_store[number]))
                                             return;
                                         m_rows.add(number);
                                         ++(number < high ? m_added.top : m_added.bottom);
                                     });
    m_seen = std::max(m_seen, m_walk.high());
    count_use();
    return more;
}

bool View::advance_for(Clock::duration longest)
{
    return advance_in_time(longest, [this](size_t most) { return advance(most); });
}

double View::progress() const
{
    OutwardWalk walk = m_walk;
    return walk.progress(m_store.first(), end());
}

size_t View::trim()
{
    const size_t gone = m_rows.drop_below(m_store.first());
    count_use();
    return gone;
}

View::Added View::take_added()
{
    return std::exchange(m_added, {});
}

std::optional<size_t> View::row_of(uint64_t number) const
{
    if (!m_rows.has(number))
        return std::nullopt;
    return m_rows.rank(number);
}

std::optional<size_t> View::nearest_row(uint64_t number) const
{
    if (rows() == 0)
        return std::nullopt;
    const size_t row = m_rows.rank(number); // of the record, or of the next record that is shown
    if (row == rows())
        return row - 1;
    if (row == 0 || m_rows.number(row) - number < number - m_rows.number(row - 1))
        return row;
    return m_rows.number(row) == number ? row : row - 1;
}

void View::pause()
{
    if (m_pause)
        return;
    count_missed();
    m_pause = m_store.end();
}

void View::resume()
{
    if (!m_pause)
        return;
    count_missed();
    m_held_to = m_store.end();
    m_pause.reset();
}

uint64_t View::waiting() const
{
    return m_pause ? m_store.end() - *m_pause : 0;
}

uint64_t View::take_missed()
{
    return std::exchange(m_missed, 0);
}

uint64_t View::end() const
{
    return m_pause ? std::min(*m_pause, m_store.end()) : m_store.end();
}

void View::start_over(uint64_t anchor)
{
    m_rows.clear();
    m_walk = OutwardWalk(std::clamp(anchor, m_store.first(), m_store.end()));
    m_added = {};
    ++m_generation;
    count_use();
}

// Without a pause, records that come faster than they are examined are dropped, but not missed.
void View::count_missed()
{
    const uint64_t first = m_store.first();
    const uint64_t held = m_pause ? first : std::min(first, m_held_to);
    m_missed += held > m_seen ? held - m_seen : 0;
    m_seen = std::max(m_seen, first);
}

// The memory of the rows counts as the store's.
void View::count_use()
{
    const size_t now = m_rows.bytes();
    m_store.use().change(std::exchange(m_use, now), now);
}

} // namespace trace
