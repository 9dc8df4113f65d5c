#include "line_source.h"

#include <utility>
#include <vector>

#include "input_bytes.h"
#include "log_text.h"
#include "text.h"

namespace trace
{

namespace
{

// The number of bytes of UTF-16 that end with a whole character.
size_t whole_units(std::string_view bytes)
{
    constexpr unsigned char pair_mask = 0xfc;
    constexpr unsigned char pair_start = 0xd8; // of the high byte
    const size_t whole = bytes.size() / 2 * 2;
    const bool is_half =
        whole > 0 && (static_cast<unsigned char>(bytes[whole - 1]) & pair_mask) == pair_start;
    return is_half ? whole - 2 : whole;
}

} // namespace

bool LineSource::next(Record& record, unsigned milliseconds)
{
    if (m_ready.empty() && !m_ended)
    {
        std::vector<char> buffer(64 << 10);
        const std::optional<size_t> length = read_input(buffer.data(), buffer.size(), milliseconds);
        if (!length)
            return false;
        feed({buffer.data(), *length});
        if (*length == 0)
            stop();
    }
    if (m_ready.empty())
        return false;
    record = std::move(m_ready.front());
    m_ready.pop_front();
    return true;
}

// The input's first two bytes decide its form.
void LineSource::feed(std::string_view bytes)
{
    constexpr std::string_view mark = "\xff\xfe";
    m_begun += bytes;
    if (!m_is_form_known)
    {
        if (m_begun == mark.substr(0, 1) && !bytes.empty())
            return;
        m_is_form_known = !bytes.empty();
        m_is_wide = m_begun.starts_with(mark);
        m_begun.erase(0, m_is_wide ? mark.size() : 0);
    }
    const size_t whole = m_is_wide ? whole_units(m_begun) : m_begun.size();
    const std::string_view piece = std::string_view(m_begun).substr(0, whole);
    m_lines.feed(m_is_wide ? utf8_of(LogForm::wide, piece) : std::string(piece),
                 [this](const std::string& line) { take(line); });
    m_begun.erase(0, whole);
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
    record.text = m_is_wide ? line : utf8_from_narrow(line);
    if (const std::optional<Stamp> stamp = stamp_of(record.text))
        record.time = time_of(*stamp);
    if (record.time == unknown_time)
        record.time = current_time();
    m_ready.push_back(std::move(record));
}

} // namespace trace
