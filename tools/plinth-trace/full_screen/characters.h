// How many columns a character takes on this terminal.
//
// The terminal library draws by the C library's tables. It is asked for the width by means of a
// line that is never shown, so that drawing and measuring always agree.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

namespace trace::full_screen
{

// A character as the screen receives it: harmless, with its columns. Written out as a number, it
// takes several columns.
struct Glyph
{
    std::string_view bytes;
    size_t columns = 1; // 0: joins the character before it
};

class Characters
{
public:
    // is_utf8: characters beyond ASCII are shown, not written out as \u{e9}.
    explicit Characters(bool is_utf8);
    ~Characters();
    Characters(const Characters&) = delete;
    Characters& operator=(const Characters&) = delete;

    // Takes the first character off a text. The caller handles tabs and line ends. The glyph is
    // valid until the next call.
    Glyph take(std::string_view& text);

    // The columns of a text without tabs and line ends.
    size_t columns_of(std::string_view text);

    bool is_utf8() const { return m_is_utf8; }

private:
    Glyph beyond_ascii(std::string_view bytes, uint32_t c, bool is_character);
    unsigned measured(std::string_view bytes);

    const bool m_is_utf8;
    void* m_pad; // a WINDOW of the terminal library
    std::unordered_map<uint32_t, uint8_t> m_known;
    std::string m_written; // a character written out
};

} // namespace trace::full_screen
