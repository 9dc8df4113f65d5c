// Single keys from the terminal, without the return key and without being shown. One source file
// for each system.
//
// However the program ends or is stopped, and whatever signal does it, the terminal is left as it
// was found; only a kill that no program can catch leaves it as it is.
#pragma once

#include <optional>

namespace trace
{

class Keyboard
{
public:
    // Standard input and output are a terminal.
    static bool is_there();

    Keyboard();
    ~Keyboard();
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;

    // The next key that was pressed; nothing if none was, or while the program is in the
    // background.
    std::optional<char> key();
};

} // namespace trace
