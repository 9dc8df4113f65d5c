#include "statistics.h"

namespace demo
{

namespace
{

constexpr bool is_space(unsigned char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

} // namespace

void Statistics::add(const unsigned char* bytes, size_t size)
{
    if (size == 0)
        return;
    if (m_bytes == 0)
        m_begins_in_word = !is_space(bytes[0]);
    bool in_word = m_ends_in_word;
    for (size_t i = 0; i < size; ++i)
    {
        const bool word = !is_space(bytes[i]);
        m_lines += bytes[i] == '\n';
        m_words += word && !in_word;
        in_word = word;
    }
    m_ends_in_word = in_word;
    m_bytes += size;
}

void Statistics::append(const Statistics& next)
{
    if (next.m_bytes == 0)
        return;
    if (m_bytes == 0)
        m_begins_in_word = next.m_begins_in_word;
    m_lines += next.m_lines;
    // A word across the border was counted on both sides.
    m_words += next.m_words - (m_ends_in_word && next.m_begins_in_word);
    m_ends_in_word = next.m_ends_in_word;
    m_bytes += next.m_bytes;
}

} // namespace demo
