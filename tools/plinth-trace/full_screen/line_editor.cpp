#include "full_screen/line_editor.h"

#include "full_screen/curses.h"

namespace trace::full_screen
{

namespace
{

constexpr int control(char letter)
{
    return letter & 0x1F;
}

constexpr int escape = 27;
constexpr int rubout = 127;

bool is_tail(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

} // namespace

size_t LineEditor::before() const
{
    size_t at = m_at;
    while (at > 0 && is_tail(m_text[--at]))
    {
    }
    return at;
}

size_t LineEditor::after() const
{
    size_t at = m_at < m_text.size() ? m_at + 1 : m_at;
    while (at < m_text.size() && is_tail(m_text[at]))
        ++at;
    return at;
}

LineEditor::Step LineEditor::erase(size_t from, size_t to)
{
    if (from == to)
        return Step::none;
    m_text.erase(from, to - from);
    m_at = from;
    return Step::changed;
}

LineEditor::Step LineEditor::handle(const Key& key)
{
    if (!key.text.empty())
    {
        m_text.insert(m_at, key.text);
        m_at += key.text.size();
        return Step::changed;
    }
    switch (key.code)
    {
    case '\r':
    case '\n':
    case KEY_ENTER:
        return Step::accepted;
    case escape:
    case control('G'):
        return Step::cancelled;
    case KEY_BACKSPACE:
    case rubout:
    case control('H'):
        return erase(before(), m_at);
    case KEY_DC:
    case control('D'):
        return erase(m_at, after());
    case control('U'):
        return erase(0, m_at);
    case control('K'):
        return erase(m_at, m_text.size());
    case KEY_LEFT:
        m_at = before();
        return Step::moved;
    case KEY_RIGHT:
        m_at = after();
        return Step::moved;
    case KEY_HOME:
    case control('A'):
        m_at = 0;
        return Step::moved;
    case KEY_END:
    case control('E'):
        m_at = m_text.size();
        return Step::moved;
    default:
        return Step::none;
    }
}

} // namespace trace::full_screen
