// A program can't wait for a pipe here, so it looks at the pipe again and again; it can wait for a
// console.
#include "input_bytes.h"

#include <algorithm>

#include "failure.h"
#include "text.h"

namespace trace
{

std::optional<size_t> read_input(char* buffer, size_t size, unsigned milliseconds)
{
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    const DWORD kind = GetFileType(input);
    DWORD length = 0;
    if (kind == FILE_TYPE_CHAR && WaitForSingleObject(input, milliseconds) != WAIT_OBJECT_0)
        return std::nullopt;
    if (kind == FILE_TYPE_PIPE)
    {
        constexpr unsigned grain = 10; // ms
        DWORD there = 0;
        while (PeekNamedPipe(input, nullptr, 0, nullptr, &there, nullptr) && there == 0)
        {
            if (milliseconds == 0)
                return std::nullopt;
            const unsigned pause = std::min(grain, milliseconds);
            Sleep(pause);
            milliseconds -= pause;
        }
    }
    if (ReadFile(input, buffer, static_cast<DWORD>(size), &length, nullptr))
        return length;
    const DWORD error = GetLastError();
    if (error == ERROR_BROKEN_PIPE || error == ERROR_HANDLE_EOF)
        return 0;
    throw Failure(exit_failed, "standard input can't be read: " + error_text(error));
}

} // namespace trace
