#include "record_queue.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace trace
{

namespace
{

using namespace std::chrono_literals;

constexpr size_t block_size = 256 << 10;
constexpr size_t most_spare = 4; // blocks that are kept for reuse

// While records come one after the other, the reader looks at intervals. Waking it for each record
// would cost the thread that takes the records a system call each time.
constexpr auto look_interval = 4ms;
constexpr auto busy_time = 50ms; // since the last record

} // namespace

Record RecordQueue::news_of(const Losses& lost)
{
    std::string why = lost.full > 0 ? "more came than could be taken" : "";
    if (lost.unheard > 0)
        why += std::string(why.empty() ? "" : ", and ") +
               "their writers went on while this viewer did not run";
    return loss_of(lost.all(), std::to_string(lost.all()) + " records lost: " + why);
}

void RecordQueue::put(const RecordView& record)
{
    const std::lock_guard lock(m_lock);
    if (m_bytes + RecordBlock::most_bytes(record) > m_limit)
    {
        m_lost.full += record.is_loss() ? record.lost : 1;
        return;
    }
    if (m_lost.all() > 0)
        append(news_of(std::exchange(m_lost, {})));
    append(record);
    if (std::exchange(m_is_awaited, false))
        m_arrived.notify_one();
}

void RecordQueue::put_unheard(uint64_t count)
{
    if (count == 0)
        return;
    const std::lock_guard lock(m_lock);
    m_lost.unheard += count;
    if (std::exchange(m_is_awaited, false))
        m_arrived.notify_one();
}

bool RecordQueue::next(RecordView& record, unsigned milliseconds)
{
    if (!m_taken.empty() && m_next == m_taken.front().size())
    {
        put_away(std::move(m_taken.front()));
        m_taken.pop_front();
        m_next = 0;
    }
    if (m_taken.empty() && !take_all(milliseconds))
        return false;
    if (m_taken.empty())
        record = *m_news;
    else
        record = m_taken.front()[m_next++];
    return true;
}

// Takes everything that waits: records, or the report of losses. False if neither came in time.
bool RecordQueue::take_all(unsigned milliseconds)
{
    const auto now = milliseconds > 0 ? Clock::now() : Clock::time_point{};
    const Clock::time_point end = now + std::chrono::milliseconds(milliseconds);
    std::unique_lock lock(m_lock);
    if (!wait(lock, milliseconds > 0 ? end : Clock::time_point{}))
        return false;
    if (m_waiting.empty())
        m_news = news_of(std::exchange(m_lost, {}));
    std::swap(m_taken, m_waiting);
    m_busy_until = Clock::now() + busy_time;
    return true;
}

// end: the epoch of the clock means not to wait.
bool RecordQueue::wait(std::unique_lock<std::mutex>& lock, Clock::time_point end)
{
    const auto is_there = [this] { return !m_waiting.empty() || m_lost.all() > 0; };
    if (end == Clock::time_point{})
        return is_there();
    for (Clock::time_point now = Clock::now(); !is_there() && now < std::min(end, m_busy_until);
         now = Clock::now())
    {
        lock.unlock();
        std::this_thread::sleep_for(std::min<Clock::duration>(end - now, look_interval));
        lock.lock();
    }
    while (!is_there())
    {
        m_is_awaited = true;
        if (m_arrived.wait_until(lock, end) == std::cv_status::timeout)
        {
            m_is_awaited = false;
            return is_there();
        }
    }
    return true;
}

void RecordQueue::append(const RecordView& record)
{
    if (m_waiting.empty())
        m_waiting.push_back(new_block(record));
    size_t before = m_waiting.back().bytes();
    if (!m_waiting.back().append(record))
    {
        m_waiting.push_back(new_block(record));
        before = 0;
        m_waiting.back().append(record);
    }
    m_bytes += m_waiting.back().bytes() - before;
}

RecordBlock RecordQueue::new_block(const RecordView& record)
{
    if (m_spare.empty() || RecordBlock::most_bytes(record) > block_size)
        return {block_size, record};
    RecordBlock block = std::move(m_spare.back());
    m_spare.pop_back();
    return block;
}

void RecordQueue::put_away(RecordBlock block)
{
    m_bytes -= block.bytes();
    if (block.capacity() != block_size)
        return;
    block.clear();
    const std::lock_guard lock(m_lock);
    if (m_spare.size() < most_spare)
        m_spare.push_back(std::move(block));
}

} // namespace trace
