#include "timeline.h"

#include <algorithm>
#include <utility>

#include "advance_in_time.h"

namespace trace
{

namespace
{

constexpr Time most_ahead = 300 * second; // of this machine's clock

Time begin_of_second(Time time)
{
    return time - time % second;
}

} // namespace

Timeline::Timeline(const View& view, size_t seconds)
    : m_view(view), m_most(seconds), m_walk(view.examined_to()), m_begin(view.examined_to()),
      m_generation(view.generation())
{
}

void Timeline::set_highlights(Highlights highlights)
{
    m_highlights = std::move(highlights);
    start_over();
}

bool Timeline::advance(size_t most)
{
    if (m_generation != m_view.generation())
        start_over();
    const Time latest = current_time() + most_ahead;
    const uint64_t from = std::max(m_view.examined_from(), m_oldest);
    const bool more =
        m_walk.advance(from, std::max(from, m_view.examined_to()), most,
                       [&](uint64_t number)
                       {
                           if (number < m_oldest || !m_view.shows(number))
                               return;
                           if (!count(m_view.store()[number], latest) && number < m_begin)
                               m_oldest = number + 1;
                       });
    return more && m_walk.high() > m_oldest;
}

bool Timeline::advance_for(std::chrono::steady_clock::duration longest)
{
    return advance_in_time(longest, [this](size_t most) { return advance(most); });
}

std::optional<uint64_t> Timeline::record_at(Time time) const
{
    const size_t row = m_view.rows_before(m_view.store().number_at(time));
    if (row >= m_view.rows())
        return std::nullopt;
    return m_view.number(row);
}

void Timeline::start_over()
{
    m_generation = m_view.generation();
    m_seconds.clear();
    m_start = unknown_time;
    m_begin = m_view.examined_to();
    m_walk = OutwardWalk(m_begin);
    m_oldest = 0;
}

// False if the record is too old.
bool Timeline::count(const RecordView& record, Time latest)
{
    // Ignores records with a wrong clock: one such record would leave no room for others.
    if (record.time < 0 || record.time > latest)
        return true;
    Second* const counted = second_of(record.time);
    if (!counted)
        return false;
    if (record.is_loss())
    {
        counted->lost += record.lost;
        return true;
    }
    ++counted->all;
    const std::optional<size_t> colour = m_highlights.colour_of(record.text);
    if (!colour)
        return true;
    if (counted->by_colour.size() <= *colour)
        counted->by_colour.resize(*colour + 1);
    ++counted->by_colour[*colour];
    return true;
}

// Null for a time that is too old.
Timeline::Second* Timeline::second_of(Time time)
{
    const Time begin = begin_of_second(time);
    if (m_start == unknown_time)
        m_start = begin;
    const auto most = static_cast<int64_t>(m_most);
    int64_t index = (begin - m_start) / second;
    const auto newest = static_cast<int64_t>(m_seconds.size()) - 1;
    if (index - newest >= most) // no counted second remains
    {
        m_seconds.clear();
        m_start = begin;
        index = 0;
    }
    for (; index < 0; ++index)
    {
        if (m_seconds.size() >= m_most)
            return nullptr;
        m_seconds.emplace_front();
        m_start -= second;
    }
    while (index >= static_cast<int64_t>(m_seconds.size()))
        m_seconds.emplace_back();
    for (; m_seconds.size() > m_most; --index, m_start += second)
        m_seconds.pop_front();
    return &m_seconds[static_cast<size_t>(index)];
}

} // namespace trace
