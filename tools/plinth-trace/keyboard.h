// Reads single keys from the terminal, without the return key and without showing them. One source
// file for each system.
//
// However the program ends or is stopped, whatever the signal, the terminal is restored; only
// signals that no program can catch leave it as it is.
#pragma once

#include <optional>

namespace trace
{

class Keyboard
{
public:
    // Whether standard input and output are a terminal.
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
