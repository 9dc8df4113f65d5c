#include "store.h"

#include <utility>

namespace trace
{

void Store::append(Record record)
{
    if (record.is_loss())
        m_lost += record.lost;
    else
    {
        ++m_all;
        record.window = window_of(record.text).value_or(no_window);
    }
    if (m_start == unknown_time)
        m_start = record.time;
    m_bytes += bytes_of(record);
    m_records.push_back(std::move(record));
    while (m_bytes > m_limit && m_records.size() > 1)
        drop_oldest();
}

void Store::clear()
{
    m_first = end();
    m_records.clear();
    m_bytes = 0;
    m_start = unknown_time;
}

void Store::drop_oldest()
{
    const Record& oldest = m_records.front();
    m_dropped += oldest.is_loss() ? 0 : 1;
    m_bytes -= bytes_of(oldest);
    m_records.pop_front();
    ++m_first;
}

} // namespace trace
