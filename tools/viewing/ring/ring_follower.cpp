#include "ring_follower.h"

#include <algorithm>
#include <utility>

#include "process_names.h"
#include "ring_records.h"

namespace trace
{

namespace
{

constexpr std::chrono::seconds most_silence{2};         // of a writer that runs
constexpr std::chrono::milliseconds several_beats{300}; // a damaged word is repaired by then

// The limit for remembered ids and names from the ring.
constexpr size_t most_names = 2048;

} // namespace

bool RingFollower::open()
{
    if (m_reader)
        return true;
    if (!m_memory.open(RingMemory::Access::read))
        return false;
    m_reader = std::make_unique<RingReader>(m_memory.view());
    m_known_epoch = m_reader->epoch();
    m_holder = m_reader->holder();
    m_heartbeat = m_holder.heartbeat;
    // There is no former look to compare with, so the times that the writer itself has set must do.
    if (m_holder.alive > 0)
    {
        m_last_sign = believed(m_holder.alive);
        if (m_heartbeat != 0 && current_time() - m_last_sign < second && facts_of(m_holder.process))
            m_beat_seen = Clock::now();
    }
    is_joined();
    return true;
}

void RingFollower::close()
{
    m_reader.reset();
    m_memory.close();
}

// Whether the reader has a place in the ring.
bool RingFollower::is_joined()
{
    const uint64_t epoch = m_reader->epoch();
    if (!m_reader->has_joined() && epoch == m_known_epoch)
        return join_at_end();
    if (epoch == 0 || epoch == m_known_epoch)
    {
        m_other_epoch = 0;
        return m_reader->has_joined();
    }
    return join_new_epoch(epoch);
}

// At first, and when the reader's place can't be read.
bool RingFollower::join_at_end()
{
    if (!m_reader->join_at_end())
        return false;
    const RingCursor former = std::exchange(m_last, m_reader->cursor());
    m_broken_since.reset();
    if (former.epoch == m_last.epoch && m_last.number > former.number)
    {
        m_taken += m_last.number - former.number;
        m_waiting.push_back(loss_in_ring(m_last.number - former.number, false));
    }
    return true;
}

// A viewer that was here before an epoch began may read all of it.
bool RingFollower::join_new_epoch(uint64_t epoch)
{
    const Clock::time_point now = Clock::now();
    if (std::exchange(m_other_epoch, epoch) != epoch)
        m_other_seen = now;
    // Without a known epoch the ring was empty before, so a new one counts at once. Later the word
    // may be damaged, so a new epoch only counts if it stays.
    if (m_known_epoch != 0 && now - m_other_seen < several_beats)
        return false;
    if (!m_reader->join_at_start())
        return false;
    const RingCursor former = std::exchange(m_last, m_reader->cursor());
    m_known_epoch = m_last.epoch;
    if (former.epoch != 0)
        m_waiting.push_back(loss_by_damage());
    return true;
}

bool RingFollower::next(Record& record)
{
    if (m_waiting.empty() && m_reader && is_joined())
        read();
    if (m_waiting.empty())
        return false;
    record = std::move(m_waiting.front());
    m_waiting.pop_front();
    return true;
}

// Reads up to the first item that becomes a record.
void RingFollower::read()
{
    RingItem item;
    RingRead result = RingRead::item;
    while (m_waiting.empty() && (result == RingRead::item || result == RingRead::lost))
    {
        result = m_reader->next(item);
        m_taken += m_reader->cursor().number - m_last.number;
        m_last = m_reader->cursor();
        if (result == RingRead::lost && m_reader->lost() > 0)
            m_waiting.push_back(loss_in_ring(m_reader->lost(), m_reader->was_overtaken()));
        else if (result == RingRead::item)
            keep(item);
    }
    if (result != RingRead::broken)
        m_broken_since.reset();
    else if (!m_broken_since)
        m_broken_since = Clock::now();
    else if (Clock::now() - *m_broken_since >= several_beats)
        join_at_end();
}

void RingFollower::keep(RingItem& item)
{
    if (const uint64_t count = m_reader->take_unheard())
        m_waiting.push_back(unheard_record(count));
    for (const RingGapTimes& gap : m_reader->take_missed_gaps())
        m_waiting.push_back(gap_record(gap.since, gap.until, ""));
    if (item.kind == RingItemKind::gap)
        m_waiting.push_back(
            gap_record(item.since, item.time, program_text(item.process, item.name)));
    else if (item.kind == RingItemKind::text)
    {
        m_last_sign = std::max(m_last_sign, believed(item.time));
        m_waiting.push_back({.time = believed(item.time),
                             .process = item.process,
                             .name = shared_name(item.process, item.name),
                             .text = std::move(item.text)});
    }
}

std::shared_ptr<const std::string> RingFollower::shared_name(uint32_t process, std::string& name)
{
    if (name.empty())
        return nullptr;
    if (m_names.size() >= most_names && !m_names.contains(process))
        m_names.clear();
    std::shared_ptr<const std::string>& known = m_names[process];
    if (!known || *known != name)
        known = std::make_shared<const std::string>(std::move(name));
    return known;
}

void RingFollower::look_for_holder(Clock::time_point now)
{
    if (!m_reader)
        return;
    m_holder = m_reader->holder();
    if (std::exchange(m_heartbeat, m_holder.heartbeat) == m_holder.heartbeat)
        return;
    if (m_heartbeat == 0)
    {
        m_has_ended = true;
        return;
    }
    m_has_ended = false;
    m_beat_seen = now;
    m_last_sign = std::max(m_last_sign, believed(m_holder.alive));
}

bool RingFollower::holder_beats(Clock::time_point now) const
{
    return m_beat_seen && !m_has_ended && now - *m_beat_seen < several_beats;
}

// A holder that has ended counts too, until another viewer can have taken over.
bool RingFollower::holder_runs(Clock::time_point now) const
{
    return m_beat_seen && now - *m_beat_seen < most_silence;
}

std::optional<RingCursor> RingFollower::end() const
{
    if (!m_reader || !m_reader->has_joined() || !m_reader->is_at_end())
        return std::nullopt;
    return m_reader->cursor();
}

} // namespace trace
