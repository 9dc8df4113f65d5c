#include "view.h"

#include <algorithm>
#include <utility>

namespace trace
{

View::View(const Store& store, Filter filter)
    : m_store(store), m_filter(std::move(filter)), m_next(store.first()), m_seen(store.first())
{
}

void View::set_filter(Filter filter)
{
    m_filter = std::move(filter);
    m_rows.clear();
    m_next = m_store.first();
}

void View::cleared()
{
    m_rows.clear();
    m_next = m_seen = m_store.first();
    if (m_pause)
        m_pause = m_store.end();
}

bool View::advance(size_t most)
{
    const uint64_t first = m_store.first();
    if (first > m_seen)
        m_missed += first - std::exchange(m_seen, first);
    m_next = std::max(m_next, first);
    const uint64_t stop = end();
    for (; m_next < stop && most > 0; ++m_next, --most)
        if (m_filter.passes(m_store[m_next]))
            m_rows.push_back(m_next);
    m_seen = std::max(m_seen, m_next);
    return m_next < stop;
}

size_t View::stale() const
{
    return static_cast<size_t>(std::lower_bound(m_rows.begin(), m_rows.end(), m_store.first()) -
                               m_rows.begin());
}

void View::trim()
{
    while (!m_rows.empty() && m_rows.front() < m_store.first())
        m_rows.pop_front();
}

std::optional<size_t> View::row_of(uint64_t number) const
{
    const auto found = std::lower_bound(m_rows.begin(), m_rows.end(), number);
    if (found == m_rows.end() || *found != number)
        return std::nullopt;
    return static_cast<size_t>(found - m_rows.begin());
}

void View::pause()
{
    if (!m_pause)
        m_pause = m_store.end();
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

} // namespace trace
