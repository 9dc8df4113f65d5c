// main receives its arguments in the active code page, which lacks most characters. The command
// line has them all.
#include <windows.h>

#include <shellapi.h>

#include "arguments.h"
#include "failure.h"
#include "text.h"

namespace trace
{

std::vector<std::string> arguments_of(int, const char* const*)
{
    int count = 0;
    wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
    if (!words)
        throw Failure(exit_failed, "the command line can't be read: " + error_text(GetLastError()));
    std::vector<std::string> all;
    for (int i = 1; i < count; ++i)
        all.push_back(utf8_from_wide(words[i]));
    LocalFree(words);
    return all;
}

} // namespace trace
