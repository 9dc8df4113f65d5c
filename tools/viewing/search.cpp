#include "search.h"

#include <utility>

#include "advance_in_time.h"

namespace trace
{

Search::Search(const View& view)
    : m_view(view), m_walk(view.examined_to()), m_generation(view.generation())
{
}

Search::~Search()
{
    m_view.store().use().change(m_use, 0);
}

void Search::set(std::optional<Pattern> pattern, std::optional<uint64_t> anchor)
{
    m_pattern = std::move(pattern);
    m_generation = m_view.generation();
    start_over(anchor.value_or(m_view.examined_to()));
}

void Search::set_form(TextForm form)
{
    if (std::exchange(m_form, form) != form)
        start_over(m_view.examined_to());
}

bool Search::advance(size_t most)
{
    follow_view();
    if (!m_pattern)
        return false;
    const bool more = m_walk.advance(m_view.examined_from(), m_view.examined_to(), most,
                                     [&](uint64_t number) { look_at(number); });
    count_use();
    return more;
}

void Search::look_at(uint64_t number)
{
    if (!m_view.shows(number))
        return;
    const Found found = m_pattern->in(text_of(m_view.store()[number], m_form, m_storage));
    if (found == Found::yes)
        m_hits.add(number);
    else if (found == Found::gave_up)
        m_unknown.add(number);
}

bool Search::advance_for(std::chrono::steady_clock::duration longest)
{
    return advance_in_time(longest, [this](size_t most) { return advance(most); });
}

double Search::progress() const
{
    if (!m_pattern)
        return 1;
    if (m_generation != m_view.generation())
        return 0;
    OutwardWalk walk = m_walk;
    return walk.progress(m_view.examined_from(), m_view.examined_to());
}

std::optional<uint64_t> Search::next(std::optional<uint64_t> from) const
{
    if (count() == 0)
        return std::nullopt;
    const size_t row = from ? m_hits.rank(*from + 1) : 0;
    return m_hits.number(row < count() ? row : 0);
}

std::optional<uint64_t> Search::previous(std::optional<uint64_t> from) const
{
    if (count() == 0)
        return std::nullopt;
    const size_t row = from ? m_hits.rank(*from) : 0;
    return m_hits.number((row > 0 ? row : count()) - 1);
}

size_t Search::index_of(uint64_t number) const
{
    return has(number) ? m_hits.rank(number) + 1 : 0;
}

std::vector<size_t> Search::marks(size_t parts) const
{
    std::vector<size_t> marks(parts);
    const size_t rows = m_view.rows();
    if (rows == 0)
        return marks;
    // The number of hits before the first row of each part.
    const auto hits_before = [&](size_t part)
    {
        const size_t row = rows * part / parts;
        return row < rows ? m_hits.rank(m_view.number(row)) : count();
    };
    size_t before = hits_before(0);
    for (size_t part = 0; part < parts; ++part)
    {
        const size_t after = hits_before(part + 1);
        marks[part] = after - before;
        before = after;
    }
    return marks;
}

void Search::follow_view()
{
    if (m_generation != m_view.generation())
    {
        m_generation = m_view.generation();
        start_over(m_view.examined_to());
    }
    m_hits.drop_below(m_view.store().first());
    m_unknown.drop_below(m_view.store().first());
}

void Search::start_over(uint64_t anchor)
{
    m_hits.clear();
    m_unknown.clear();
    m_walk = OutwardWalk(anchor);
    count_use();
}

void Search::count_use()
{
    const size_t now = m_hits.bytes() + m_unknown.bytes();
    m_view.store().use().change(std::exchange(m_use, now), now);
}

} // namespace trace
