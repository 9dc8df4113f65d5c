#include "full_screen/key_reader.h"

#include "full_screen/curses.h"
#include "system/harmless_text.h"

namespace trace::full_screen
{

namespace
{

constexpr int first_text = 0x20;
constexpr int rubout = 0x7F;
constexpr int first_beyond_ascii = 0x80;
constexpr int first_code = 0x100;
constexpr size_t longest_character = 4; // bytes

bool is_tail(int byte)
{
    return (byte & 0xC0) == 0x80;
}

// Reads the rest of a character whose first byte was read; nothing if the bytes are no character.
std::optional<Key> character_from(int first)
{
    Key key;
    key.text = static_cast<char>(first);
    uint32_t c = 0;
    size_t bytes = 0;
    while (!platform::next_character(key.text, c, bytes))
    {
        const int byte = key.text.size() < longest_character ? getch() : ERR;
        if (byte == ERR || !is_tail(byte))
            return std::nullopt;
        key.text += static_cast<char>(byte);
    }
    return platform::is_treacherous(c) ? std::nullopt : std::optional(key);
}

std::optional<Key> mouse_event()
{
    MEVENT event{};
    if (getmouse(&event) != OK)
        return std::nullopt;
    Key key{.code = KEY_MOUSE, .line = event.y};
    if (event.bstate & BUTTON4_PRESSED)
        key.mouse = Key::Mouse::wheel_up;
    else if (event.bstate & BUTTON5_PRESSED)
        key.mouse = Key::Mouse::wheel_down;
    else if (event.bstate & BUTTON1_PRESSED)
        key.mouse = Key::Mouse::click;
    return key;
}

} // namespace

std::optional<Key> next_key(bool is_utf8)
{
    for (int code = getch(); code != ERR; code = getch())
    {
        std::optional<Key> key;
        if (code == KEY_MOUSE)
            key = mouse_event();
        else if (code < first_text || code == rubout || code >= first_code)
            key = Key{.code = code};
        else if (code < first_beyond_ascii)
            key = Key{.text = std::string(1, static_cast<char>(code))};
        else if (is_utf8)
            key = character_from(code);
        if (key)
            return key;
    }
    return std::nullopt;
}

} // namespace trace::full_screen
