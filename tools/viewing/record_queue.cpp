#include "record_queue.h"

#include <chrono>
#include <utility>

namespace trace
{

Record RecordQueue::news_of(const Losses& lost)
{
    std::string why = lost.full > 0 ? "more came than could be taken" : "";
    if (lost.unheard > 0)
        why += std::string(why.empty() ? "" : ", and ") +
               "their writers went on while this viewer did not run";
    return loss_of(lost.all(), std::to_string(lost.all()) + " records lost: " + why);
}

void RecordQueue::put(Record record)
{
    const std::lock_guard lock(m_lock);
    const size_t bytes = bytes_of(record);
    if (m_bytes + bytes > m_limit)
    {
        m_lost.full += record.is_loss() ? record.lost : 1;
        return;
    }
    if (m_lost.all() > 0)
    {
        m_waiting.push_back(news_of(std::exchange(m_lost, {})));
        m_bytes += bytes_of(m_waiting.back());
    }
    m_bytes += bytes;
    m_waiting.push_back(std::move(record));
    m_arrived.notify_one();
}

void RecordQueue::put_unheard(uint64_t count)
{
    if (count == 0)
        return;
    const std::lock_guard lock(m_lock);
    m_lost.unheard += count;
    m_arrived.notify_one();
}

bool RecordQueue::next(Record& record, unsigned milliseconds)
{
    std::unique_lock lock(m_lock);
    if (!m_arrived.wait_for(lock, std::chrono::milliseconds(milliseconds),
                            [this] { return !m_waiting.empty() || m_lost.all() > 0; }))
        return false;
    if (m_waiting.empty())
    {
        record = news_of(std::exchange(m_lost, {}));
        return true;
    }
    record = std::move(m_waiting.front());
    m_waiting.pop_front();
    m_bytes -= bytes_of(record);
    return true;
}

} // namespace trace
