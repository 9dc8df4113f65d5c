#include "store.h"

#include <algorithm>

namespace trace
{

namespace
{

// The part of the limit that dropped records may still occupy: it should be small. But very small
// blocks have their cost, too.
constexpr size_t parts_of_limit = 64;
constexpr size_t least_part = 16 << 10; // bytes
constexpr size_t most_part = 1 << 20;

} // namespace

Store::Store(size_t limit)
    : m_limit(limit), m_part_size(std::clamp(limit / parts_of_limit, least_part, most_part))
{
}

void Store::append(const RecordView& record)
{
    RecordView kept = record;
    if (record.is_loss())
        m_lost += record.lost;
    else
    {
        ++m_all;
        kept.window = window_of(record.text).value_or(no_window);
    }
    if (m_start == unknown_time)
        m_start = record.time;
    if (m_parts.empty())
        add_part(kept);
    size_t before = m_parts.back().block.bytes();
    if (!m_parts.back().block.append(kept))
    {
        add_part(kept);
        before = 0;
        m_parts.back().block.append(kept);
    }
    m_part_bytes += m_parts.back().block.bytes() - before;
    ++m_end;
    while (bytes() > m_limit && m_end - m_first > 1)
        drop_oldest();
}

void Store::clear()
{
    m_first = m_end;
    m_parts.clear();
    m_spare.reset();
    m_last_part = 0;
    m_part_bytes = 0;
    m_start = unknown_time;
    give_back_heap();
}

RecordView Store::operator[](uint64_t number) const
{
    const Part& part = m_parts[part_of(number)];
    return part.block[static_cast<size_t>(number - part.first)];
}

uint64_t Store::number_at(Time time) const
{
    uint64_t low = m_first;
    uint64_t high = m_end;
    while (low < high)
    {
        const uint64_t middle = low + (high - low) / 2;
        if ((*this)[middle].time < time)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

size_t Store::bytes() const
{
    const size_t gone = m_parts.empty() ? 0
                                        : m_parts.front().block.bytes_before(
                                              static_cast<size_t>(m_first - m_parts.front().first));
    return m_part_bytes - gone + m_use.bytes();
}

size_t Store::part_of(uint64_t number) const
{
    const auto has = [&](size_t part)
    {
        return part < m_parts.size() && number >= m_parts[part].first &&
               number - m_parts[part].first < m_parts[part].block.size();
    };
    if (has(m_last_part))
        return m_last_part;
    if (has(m_last_part + 1))
        return ++m_last_part;
    const auto after =
        std::upper_bound(m_parts.begin(), m_parts.end(), number,
                         [](uint64_t wanted, const Part& part) { return wanted < part.first; });
    return m_last_part = static_cast<size_t>(after - m_parts.begin()) - 1;
}

void Store::add_part(const RecordView& record)
{
    if (!m_parts.empty())
    {
        RecordBlock& full = m_parts.back().block;
        const size_t before = full.bytes();
        full.seal();
        m_part_bytes += full.bytes() - before;
    }
    if (m_spare && RecordBlock::most_bytes(record) <= m_spare->capacity())
        m_parts.push_back({std::move(*m_spare), m_end});
    else
        m_parts.push_back({RecordBlock(m_part_size, record), m_end});
    m_spare.reset();
}

void Store::drop_oldest()
{
    Part& oldest = m_parts.front();
    m_dropped += oldest.block[static_cast<size_t>(m_first - oldest.first)].is_loss() ? 0 : 1;
    if (++m_first - oldest.first < oldest.block.size())
        return;
    m_part_bytes -= oldest.block.bytes();
    if (oldest.block.capacity() == m_part_size)
    {
        oldest.block.clear();
        m_spare.emplace(std::move(oldest.block));
    }
    m_parts.pop_front();
    m_last_part = 0;
}

} // namespace trace
