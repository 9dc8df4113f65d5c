#include "text.h"

#include <algorithm>
#include <cstring>

#include <windows.h>

#if defined(_WIN32)
#include <shellapi.h>
#endif

#include <plinth_w32_system.h>

namespace demo
{

#if defined(_WIN32)

// From the command line, because main's arguments are in the active code page, which lacks most
// characters.
std::vector<WideText> arguments_of(int, const char* const*)
{
    std::vector<WideText> all;
    int count = 0;
    wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int i = 1; words && i < count; ++i)
        all.emplace_back(words[i], words[i] + wcslen32(words[i]) + 1);
    LocalFree(words);
    return all;
}

#else

std::vector<WideText> arguments_of(int count, const char* const* words)
{
    std::vector<WideText> all;
    for (int i = 1; i < count; ++i)
    {
        WideText& word = all.emplace_back(std::strlen(words[i]) + 1);
        QV_Char2WChar(words[i], -1, word.data(), static_cast<int>(word.size()));
    }
    return all;
}

#endif

std::string printed(const wchar_t* text)
{
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<size_t>(std::max(size, 1)), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, bytes.data(), size, nullptr, nullptr);
    bytes.pop_back(); // the terminator
    return bytes;
}

} // namespace demo
