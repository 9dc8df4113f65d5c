#include "ring_reader.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

namespace trace
{

namespace
{

constexpr auto acquire = std::memory_order_acquire;

// The channel or viewers can't have counted more than these at once.
constexpr uint64_t most_unheard = UINT32_MAX;
constexpr uint64_t most_gaps = 1 << 20;

uint64_t rest_of_segment(uint64_t position)
{
    return ring_segment_size - position % ring_segment_size;
}

bool can_follow(uint64_t number, uint64_t former, uint64_t most)
{
    return number >= former && number - former <= most;
}

} // namespace

bool RingReader::join_at_end()
{
    const uint64_t now = epoch();
    const std::optional<Head> end = head();
    if (now == 0 || !end || !is_sound(*end, 0, 0) || epoch() != now)
        return false;
    m_cursor = {now, end->committed, end->number, end->unheard, end->gaps};
    m_limit = end->committed;
    return true;
}

bool RingReader::join_at_start()
{
    m_cursor = {.epoch = epoch()};
    m_limit = 0;
    return m_cursor.epoch != 0;
}

uint64_t RingReader::epoch() const
{
    return m_ring.header->epoch.load(acquire);
}

bool RingReader::is_at_end() const
{
    return m_cursor.at == m_ring.header->committed.load(acquire) && epoch() == m_cursor.epoch;
}

uint64_t RingReader::take_unheard()
{
    return std::exchange(m_unheard, 0);
}

std::vector<RingGapTimes> RingReader::take_missed_gaps()
{
    std::vector<RingGapTimes> gaps;
    const uint64_t last = m_known_gaps;
    const uint64_t missed = std::exchange(m_missed_gaps, 0);
    if (missed > ring_gaps)
        gaps.emplace_back(); // one for all of those
    for (uint64_t back = std::min(missed, ring_gaps); back > 0; --back)
        gaps.push_back(times_of_gap(last - back));
    return gaps;
}

RingGapTimes RingReader::times_of_gap(uint64_t number) const
{
    const RingGap& gap = m_ring.header->newest_gaps[number % ring_gaps];
    const bool is_it = gap.number.load(acquire) == number;
    const RingGapTimes times{static_cast<Time>(gap.since.load(acquire)),
                             static_cast<Time>(gap.until.load(acquire))};
    return is_it && gap.number.load(acquire) == number ? times : RingGapTimes{};
}

RingHolder RingReader::holder() const
{
    const RingHeader& header = *m_ring.header;
    std::array<char, sizeof header.holder_name> name;
    load_words(name.data(), header.holder_name.data(), name.size());
    RingHolder holder;
    holder.name.assign(name.begin(), std::find(name.begin(), name.end(), '\0'));
    holder.process = static_cast<uint32_t>(header.holder.load(acquire));
    holder.heartbeat = header.heartbeat.load(acquire);
    holder.alive = static_cast<Time>(header.alive.load(acquire));
    return holder;
}

// Nothing while the writer is changing the words, and if it was killed while doing so.
std::optional<RingReader::Head> RingReader::head() const
{
    constexpr int attempts = 100;
    const RingHeader& header = *m_ring.header;
    for (int i = 0; i < attempts; ++i)
    {
        const uint64_t ended = header.ended.load(acquire);
        const Head head{header.committed.load(acquire), header.number.load(acquire),
                        header.unheard.load(acquire), header.gaps.load(acquire)};
        if (header.begun.load(acquire) == ended)
            return head;
    }
    return std::nullopt;
}

// Whether the ring can have reached this end from a position with this number.
bool RingReader::is_sound(const Head& head, uint64_t from, uint64_t number) const
{
    return head.committed % sizeof(RingWord) == 0 && head.committed >= from &&
           head.committed <= m_ring.header->reserved.load(acquire) &&
           can_follow(head.number, number, (head.committed - from) / sizeof(RingItemHead));
}

// Whether there may be an item at the cursor. The end is read rarely: each read takes the word's
// memory away from the writer's processor.
bool RingReader::has_limit()
{
    if (m_cursor.at == m_limit)
        m_limit = m_ring.header->committed.load(acquire);
    return m_cursor.at != m_limit;
}

RingRead RingReader::next(RingItem& item)
{
    constexpr int most_hops = 2; // the rest of a segment, then the item
    for (int hop = 0; hop < most_hops && epoch() == m_cursor.epoch && has_limit(); ++hop)
    {
        if (m_limit < m_cursor.at || m_limit - m_cursor.at > ring_capacity)
            return skip_ahead();
        const uint64_t rest = rest_of_segment(m_cursor.at);
        RingItemHead head{};
        head.kind = RingItemKind::rest;
        if (rest >= sizeof head && !load(item, head))
            return skip_ahead();
        if (is_overtaken())
            return skip_ahead();
        if (epoch() != m_cursor.epoch)
            break;
        if (head.kind != RingItemKind::rest)
            return accept(head) ? RingRead::item : skip_ahead();
        m_cursor.at += rest;
        if (m_cursor.at > m_limit)
            return skip_ahead();
    }
    return RingRead::nothing;
}

// False if there is no valid item at the cursor.
bool RingReader::load(RingItem& item, RingItemHead& head) const
{
    const RingWord* const words = m_ring.at(m_cursor.at);
    load_words(&head, words, sizeof head);
    const uint64_t rest = rest_of_segment(m_cursor.at);
    if (head.kind == RingItemKind::rest)
        return head.size == rest;
    const size_t bytes = sizeof head + head.name_size + head.text_size;
    std::array<char, longest_ring_item> whole;
    if (head.size % sizeof(RingWord) != 0 || head.size < bytes || head.size > whole.size() ||
        head.size > rest || head.size > m_limit - m_cursor.at)
        return false;
    load_words(whole.data(), words, head.size);
    if (std::memcmp(whole.data(), &head, sizeof head) != 0) // it is being overwritten
        return false;
    std::memset(whole.data() + offsetof(RingItemHead, check), 0, sizeof head.check);
    if (check_of(whole.data(), head.size) != head.check)
        return false;
    item.kind = head.kind;
    item.time = head.time;
    item.since = head.since;
    item.process = head.process;
    item.name.assign(whole.data() + sizeof head, head.name_size);
    item.text.assign(whole.data() + sizeof head + head.name_size, head.text_size);
    return true;
}

// Whether the writer has reached the bytes that were just read. If not, a wrong value there means
// that another program has damaged the ring.
bool RingReader::is_overtaken() const
{
    const uint64_t reserved = m_ring.header->reserved.load(acquire);
    return reserved < m_cursor.at || reserved - m_cursor.at > ring_capacity;
}

bool RingReader::accept(const RingItemHead& head)
{
    const bool is_gap = head.kind == RingItemKind::gap;
    const bool is_text = head.kind == RingItemKind::text;
    if ((!is_text && !is_gap && head.kind != RingItemKind::mark) || head.number != m_cursor.number)
        return false;
    // Ignores counts that no channel and no viewers can have had.
    if (can_follow(head.unheard, m_cursor.unheard, most_unheard))
        m_unheard += head.unheard - m_cursor.unheard;
    m_known_gaps = head.gaps + (is_gap ? 0 : 1);
    if (can_follow(m_known_gaps, m_cursor.gaps + 1, most_gaps))
        m_missed_gaps = m_known_gaps - m_cursor.gaps - 1;
    m_cursor.unheard = head.unheard;
    m_cursor.gaps = head.gaps;
    m_cursor.number += is_text ? 1 : 0;
    m_cursor.at += head.size;
    return true;
}

// Continues after text that can't be read: at a later segment, else at the end. The cursor moves,
// or stays where it is if the ring has no valid end.
RingRead RingReader::skip_ahead()
{
    const std::optional<Head> end = head();
    if (!end)
        return RingRead::nothing; // the writer's next heartbeat repairs it
    if (end->committed == m_cursor.at || !is_sound(*end, m_cursor.at, m_cursor.number))
        return RingRead::broken;
    const uint64_t passed = end->committed - m_cursor.at;
    m_was_overtaken = passed > ring_capacity - ring_segment_size;
    const uint64_t former = m_cursor.number;
    if (const std::optional<RingCursor> segment = segment_after(*end))
        m_cursor = *segment;
    else
    {
        m_cursor.at = end->committed;
        m_cursor.number = end->number;
    }
    m_limit = m_cursor.at;
    m_lost = m_cursor.number - former;
    return RingRead::lost;
}

// The start of the next segment, but not of one that the writer will soon overwrite.
std::optional<RingCursor> RingReader::segment_after(const Head& head) const
{
    constexpr uint64_t most_behind = ring_segments * 3 / 4;
    const uint64_t last = head.committed / ring_segment_size;
    const uint64_t oldest = last > most_behind ? last - most_behind : 0;
    const uint64_t wanted = std::max(m_cursor.at / ring_segment_size + 1, oldest);
    const RingSegment& segment = m_ring.header->segments[wanted % ring_segments];
    if (wanted > last || segment.sequence.load(acquire) != wanted)
        return std::nullopt;
    RingCursor cursor = m_cursor;
    cursor.at = wanted * ring_segment_size;
    cursor.number = segment.first.load(acquire);
    if (cursor.number < m_cursor.number || cursor.number > head.number ||
        segment.sequence.load(acquire) != wanted)
        return std::nullopt;
    return cursor;
}

} // namespace trace
