#include "ring_writer.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace trace
{

namespace
{

constexpr auto acquire = std::memory_order_acquire;
constexpr auto release = std::memory_order_release;

constexpr uint64_t no_segment = UINT64_MAX;

uint64_t end_of_segment(uint64_t position)
{
    return (position / ring_segment_size + 1) * ring_segment_size;
}

} // namespace

RingWriter::RingWriter(const RingView& ring, const RingCursor& cursor)
    : m_ring(ring), m_cursor(cursor), m_reserved(end_of_segment(cursor.at)),
      m_updates(ring.header->begun.load(acquire))
{
    for (size_t i = 0; i < ring_segments; ++i)
        m_segments[i] = {ring.header->segments[i].sequence.load(acquire),
                         ring.header->segments[i].first.load(acquire)};
    for (size_t i = 0; i < ring_gaps; ++i)
        m_gaps[i] = {ring.header->newest_gaps[i].number.load(acquire),
                     static_cast<Time>(ring.header->newest_gaps[i].since.load(acquire)),
                     static_cast<Time>(ring.header->newest_gaps[i].until.load(acquire))};
    if (cursor.at % ring_segment_size == 0)
        enter_segment(); // the former writer may have been killed while entering it
}

RingWriter::RingWriter(const RingView& ring, uint64_t epoch)
    : m_ring(ring), m_cursor{.epoch = epoch}, m_reserved(0)
{
    RingHeader& header = *ring.header;
    header.epoch.store(0, release); // readers must not take what follows for the old epoch
    m_segments.fill({no_segment, 0});
    publish_tables();
    header.reserved.store(0, release);
    commit();
    header.epoch.store(epoch, release);
}

void RingWriter::sign(uint32_t process, const std::string& name)
{
    m_process = process;
    m_name = name.substr(0, sizeof(RingHeader::holder_name) - 1);
    m_name.resize(sizeof(RingHeader::holder_name));
}

void RingWriter::put_text(const RingItemView& item)
{
    put(item);
}

void RingWriter::put_gap(RingItemView item)
{
    item.kind = RingItemKind::gap;
    ++m_cursor.gaps;
    m_ring.header->newest_gaps[m_cursor.gaps % ring_gaps].number.store(0, release);
    m_gaps[m_cursor.gaps % ring_gaps] = {m_cursor.gaps, item.since, item.time};
    publish_tables();
    put(item);
}

void RingWriter::put_unheard(uint64_t count, Time time)
{
    m_cursor.unheard += count;
    put({.kind = RingItemKind::mark, .time = time});
}

void RingWriter::put(const RingItemView& item)
{
    RingItemHead head = head_of(item);
    make_room(head.size);
    head.number = m_cursor.number;
    head.unheard = m_cursor.unheard;
    head.gaps = m_cursor.gaps;
    write(head, item);
    m_cursor.at += head.size;
    if (item.kind == RingItemKind::text)
        ++m_cursor.number;
    commit();
}

// Moves to the next segment if the rest of this one is too small.
void RingWriter::make_room(uint32_t size)
{
    const uint64_t rest = m_reserved - m_cursor.at;
    if (rest >= size)
        return;
    if (rest >= sizeof(RingItemHead))
    {
        RingItemHead end{};
        end.size = static_cast<uint32_t>(rest);
        end.kind = RingItemKind::rest; // its checksum is not read
        store_words(m_ring.at(m_cursor.at), &end, sizeof end);
    }
    m_cursor.at = m_reserved;
    enter_segment();
}

void RingWriter::enter_segment()
{
    const uint64_t sequence = m_cursor.at / ring_segment_size;
    m_reserved = m_cursor.at + ring_segment_size;
    m_ring.header->reserved.store(m_reserved, release); // readers see it before the new bytes
    m_segments[sequence % ring_segments] = {sequence, m_cursor.number};
    RingSegment& segment = m_ring.header->segments[sequence % ring_segments];
    segment.first.store(m_cursor.number, release);
    segment.sequence.store(sequence, release);
}

void RingWriter::write(const RingItemHead& head, const RingItemView& item)
{
    std::array<char, longest_ring_item> bytes;
    char* end = std::copy_n(reinterpret_cast<const char*>(&head), sizeof head, bytes.data());
    end = std::copy_n(item.name.data(), head.name_size, end);
    end = std::copy_n(item.text.data(), head.text_size, end);
    std::fill(end, bytes.data() + head.size, '\0');
    const uint64_t check = check_of(bytes.data(), head.size);
    std::memcpy(bytes.data() + offsetof(RingItemHead, check), &check, sizeof check);
    store_words(m_ring.at(m_cursor.at), bytes.data(), head.size);
}

void RingWriter::commit()
{
    RingHeader& header = *m_ring.header;
    ++m_updates;
    header.begun.store(m_updates, release);
    header.number.store(m_cursor.number, release);
    header.unheard.store(m_cursor.unheard, release);
    header.gaps.store(m_cursor.gaps, release);
    header.committed.store(m_cursor.at, release);
    header.ended.store(m_updates, release);
}

void RingWriter::publish_tables()
{
    for (size_t i = 0; i < ring_segments; ++i)
    {
        RingSegment& segment = m_ring.header->segments[i];
        segment.first.store(m_segments[i].first, release);
        segment.sequence.store(m_segments[i].sequence, release);
    }
    for (size_t i = 0; i < ring_gaps; ++i)
    {
        RingGap& gap = m_ring.header->newest_gaps[i];
        gap.since.store(static_cast<uint64_t>(m_gaps[i].since), release);
        gap.until.store(static_cast<uint64_t>(m_gaps[i].until), release);
        gap.number.store(m_gaps[i].number, release);
    }
}

void RingWriter::beat(Time time)
{
    RingHeader& header = *m_ring.header;
    header.epoch.store(m_cursor.epoch, release);
    header.reserved.store(m_reserved, release);
    publish_tables();
    commit();
    store_words(header.holder_name.data(), m_name.data(), m_name.size());
    header.alive.store(static_cast<uint64_t>(time), release);
    header.holder.store(m_process, release);
    constexpr int bits_of_process = 32;
    header.heartbeat.store(uint64_t{m_process} << bits_of_process | ++m_beats, release);
}

void RingWriter::end(Time time)
{
    beat(time);
    m_ring.header->heartbeat.store(0, release);
}

} // namespace trace
