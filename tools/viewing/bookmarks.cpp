#include "bookmarks.h"

#include <algorithm>

namespace trace
{

namespace
{

// The first mark from start on, continuing at the beginning after the last, that is shown.
template <class Iterator>
std::optional<uint64_t> first_shown(const View& view, Iterator begin, Iterator start, Iterator end)
{
    const auto shown = [&](uint64_t number) { return view.row_of(number).has_value(); };
    Iterator found = std::find_if(start, end, shown);
    if (found == end)
    {
        found = std::find_if(begin, start, shown);
        if (found == start)
            return std::nullopt;
    }
    return *found;
}

} // namespace

void Bookmarks::toggle(uint64_t number)
{
    if (m_numbers.erase(number) == 0)
        m_numbers.insert(number);
}

void Bookmarks::trim(uint64_t first)
{
    m_numbers.erase(m_numbers.begin(), m_numbers.lower_bound(first));
}

std::optional<uint64_t> Bookmarks::next(const View& view, std::optional<uint64_t> from) const
{
    const auto start = from ? m_numbers.upper_bound(*from) : m_numbers.begin();
    return first_shown(view, m_numbers.begin(), start, m_numbers.end());
}

std::optional<uint64_t> Bookmarks::previous(const View& view, std::optional<uint64_t> from) const
{
    const auto start =
        from ? std::make_reverse_iterator(m_numbers.lower_bound(*from)) : m_numbers.rbegin();
    return first_shown(view, m_numbers.rbegin(), start, m_numbers.rend());
}

} // namespace trace
