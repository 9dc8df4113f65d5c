#include "ring_share.h"

#include "process_names.h"
#include "ring_follower.h"
#include "ring_records.h"

namespace trace
{

namespace
{

constexpr Time beat_interval = 100 * millisecond;

} // namespace

bool RingShare::start(const RingFollower& follower, Time since, const TakeOverWatcher& watcher)
{
    if (!m_memory.open(RingMemory::Access::write))
        return false;
    watcher(TakeOverStep::mapped);
    const std::optional<RingCursor> end = follower.end();
    const Time now = current_time();
    const DWORD process = GetCurrentProcessId();
    const std::optional<ProcessFacts> facts = facts_of(process);
    if (end)
        m_writer.emplace(m_memory.view(), *end);
    else
        m_writer.emplace(m_memory.view(), static_cast<uint64_t>(now)); // a new epoch each time
    m_writer->sign(process, facts ? facts->name : "");
    // Readers that were here before must learn of the gap, also in a new ring.
    if (end || since != unknown_time)
    {
        const RingHolder& former = follower.holder();
        m_writer->put_gap({.time = now,
                           .since = since == unknown_time ? now : since,
                           .process = former.process,
                           .name = former.name});
    }
    beat(now);
    watcher(TakeOverStep::continued);
    return true;
}

void RingShare::put(const RecordView& record)
{
    if (!m_writer)
        return;
    m_writer->put_text(
        {.time = record.time, .process = record.process, .name = record.name, .text = record.text});
    beat(record.time);
}

void RingShare::put_unheard(uint64_t count)
{
    if (m_writer && count > 0)
        m_writer->put_unheard(count, current_time());
}

void RingShare::beat(Time now)
{
    // The clock may be set back.
    if (!m_writer || (now >= m_last_beat && now - m_last_beat < beat_interval))
        return;
    m_last_beat = now;
    m_writer->beat(now);
}

void RingShare::end()
{
    if (m_writer)
        m_writer->end(current_time());
    m_writer.reset();
}

} // namespace trace
