// What the user does: keys, characters, the mouse.
#pragma once

#include <optional>
#include <string>

namespace trace::full_screen
{

struct Key
{
    // The library's number of a special key, such as KEY_UP, or of a control character; 0 for text.
    int code = 0;
    std::string text{}; // one character, UTF-8
    int line = 0;       // of a mouse event, from 0
    enum class Mouse
    {
        none,
        click,
        wheel_up,
        wheel_down,
    } mouse = Mouse::none;
};

// The next key; nothing if there is none. KEY_RESIZE: the terminal has changed its size.
std::optional<Key> next_key(bool is_utf8);

} // namespace trace::full_screen
