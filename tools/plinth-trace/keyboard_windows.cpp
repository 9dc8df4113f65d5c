// The console passes on single keys anyway; nothing has to be restored.
#include "keyboard.h"

#include <conio.h>
#include <io.h>
#include <stdio.h>

namespace trace
{

bool Keyboard::is_there()
{
    return _isatty(_fileno(stdin)) && _isatty(_fileno(stdout));
}

Keyboard::Keyboard() = default;
Keyboard::~Keyboard() = default;

std::optional<char> Keyboard::key()
{
    if (!_kbhit())
        return std::nullopt;
    const int key = _getch();
    if (key == 0 || key == 0xe0) // a key of two parts: not used here
    {
        _getch();
        return std::nullopt;
    }
    return static_cast<char>(key);
}

} // namespace trace
