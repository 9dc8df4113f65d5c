#include "full_screen/characters.h"

#include "failure.h"
#include "full_screen/curses.h"
#include "system/harmless_text.h"
#include "text.h"

namespace trace::full_screen
{

namespace
{

constexpr int pad_columns = 16;
constexpr size_t most_known = 1 << 16; // characters whose widths are remembered
constexpr unsigned most_columns = 2;

// Such a character asks for a kind of picture; terminals disagree on the columns that the picture
// takes.
bool is_picture_selector(uint32_t c)
{
    return c == 0xFE0E || c == 0xFE0F;
}

} // namespace

Characters::Characters(bool is_utf8) : m_is_utf8(is_utf8), m_pad(newpad(1, pad_columns))
{
    if (!m_pad)
        throw Failure(exit_failed, "there is no memory for the screen");
}

Characters::~Characters()
{
    delwin(static_cast<WINDOW*>(m_pad));
}

Glyph Characters::take(std::string_view& text)
{
    uint32_t c = 0;
    size_t bytes = 0;
    const bool is_character = platform::next_character(text, c, bytes);
    const std::string_view own = text.substr(0, bytes);
    text.remove_prefix(bytes);
    if (c >= 0x20 && c < 0x7F)
        return {own, 1};
    return beyond_ascii(own, c, is_character);
}

Glyph Characters::beyond_ascii(std::string_view bytes, uint32_t c, bool is_character)
{
    if (is_character && is_picture_selector(c))
        return {{}, 0};
    if (is_character && m_is_utf8 && !platform::is_treacherous(c))
    {
        if (m_known.size() >= most_known)
            m_known.clear();
        const auto [known, is_new] = m_known.try_emplace(c);
        if (is_new)
            known->second = static_cast<uint8_t>(measured(bytes));
        if (known->second <= most_columns)
            return {bytes, known->second};
    }
    m_written.clear();
    append_visible(m_written, c);
    return {m_written, m_written.size()};
}

// Measures a character after a letter, since a character without columns of its own joins that
// letter.
unsigned Characters::measured(std::string_view bytes)
{
    WINDOW* const pad = static_cast<WINDOW*>(m_pad);
    werase(pad);
    mvwaddnstr(pad, 0, 0, "x", 1);
    if (waddnstr(pad, bytes.data(), static_cast<int>(bytes.size())) == ERR || getcury(pad) != 0)
        return UINT8_MAX;
    return static_cast<unsigned>(getcurx(pad) - 1);
}

size_t Characters::columns_of(std::string_view text)
{
    size_t columns = 0;
    while (!text.empty())
        columns += take(text).columns;
    return columns;
}

} // namespace trace::full_screen
