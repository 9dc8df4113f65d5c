#include "line_source.h"

#include <utility>
#include <vector>

#include "input_bytes.h"
#include "text.h"

namespace trace
{

bool LineSource::next(Record& record, unsigned milliseconds)
{
    if (m_ready.empty() && !m_ended)
    {
        std::vector<char> buffer(64 << 10);
        const std::optional<size_t> length = read_input(buffer.data(), buffer.size(), milliseconds);
        if (!length)
            return false;
        m_lines.feed({buffer.data(), *length}, [this](const std::string& line) { take(line); });
        if (*length == 0)
            stop();
    }
    if (m_ready.empty())
        return false;
    record = std::move(m_ready.front());
    m_ready.pop_front();
    return true;
}

void LineSource::stop()
{
    m_ended = true;
    if (m_lines.has_rest())
        take(m_lines.take_rest());
}

void LineSource::take(const std::string& line)
{
    Record record;
    record.text = utf8_from_narrow(line);
    if (const std::optional<Stamp> stamp = stamp_of(record.text))
        record.time = time_of(*stamp);
    if (record.time == unknown_time)
        record.time = current_time();
    m_ready.push_back(std::move(record));
}

} // namespace trace
