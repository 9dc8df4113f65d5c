// Conversion goes through the system's own functions, so that both platforms answer alike.
#include "text.h"

#include <cstdio>

#if __has_include(<plinth_platform.h>)
#include <plinth_platform.h>
#endif

namespace trace
{

namespace
{

WideText widen(UINT code_page, std::string_view text)
{
    const int length = static_cast<int>(text.size());
    WideText wide(text.size() + 1); // no code page has more units than bytes
    const int done =
        length == 0 ? 0
                    : MultiByteToWideChar(code_page, 0, text.data(), length, wide.data(), length);
    wide.resize(static_cast<size_t>(done > 0 ? done : 0));
    wide.push_back(0);
    return wide;
}

} // namespace

WideText wide_from_utf8(std::string_view text)
{
    return widen(CP_UTF8, text);
}

std::string utf8_from_wide(const wchar_t* text, size_t length)
{
    if (length == 0)
        return {};
    std::string out(length * 3, '\0'); // a unit is at most three bytes
    const int done = WideCharToMultiByte(CP_UTF8, 0, text, static_cast<int>(length), out.data(),
                                         static_cast<int>(out.size()), nullptr, nullptr);
    out.resize(static_cast<size_t>(done > 0 ? done : 0));
    return out;
}

std::string utf8_from_wide(const wchar_t* text)
{
    size_t length = 0;
    while (text[length])
        ++length;
    return utf8_from_wide(text, length);
}

std::string utf8_from_narrow(std::string_view text)
{
    const WideText wide = widen(CP_ACP, text);
    return utf8_from_wide(wide.data(), wide.size() - 1);
}

void append_utf8(std::string& out, unsigned code_point)
{
    const auto tail = [&out](unsigned bits) { out += static_cast<char>(0x80 | (bits & 0x3f)); };
    if (code_point < 0x80)
        out += static_cast<char>(code_point);
    else if (code_point < 0x800)
    {
        out += static_cast<char>(0xc0 | (code_point >> 6));
        tail(code_point);
    }
    else if (code_point < 0x10000)
    {
        out += static_cast<char>(0xe0 | (code_point >> 12));
        tail(code_point >> 6);
        tail(code_point);
    }
    else
    {
        out += static_cast<char>(0xf0 | (code_point >> 18));
        tail(code_point >> 12);
        tail(code_point >> 6);
        tail(code_point);
    }
}

std::string printable(std::string_view utf8)
{
    std::string out;
    out.reserve(utf8.size());
    for (size_t i = 0; i < utf8.size(); ++i)
    {
        const unsigned char c = static_cast<unsigned char>(utf8[i]);
        // U+0080 to U+009F, two bytes in UTF-8, are control characters too.
        const bool upper_control =
            c == 0xc2 && i + 1 < utf8.size() && static_cast<unsigned char>(utf8[i + 1]) < 0xa0;
        if (c == '\r' && i + 1 < utf8.size() && utf8[i + 1] == '\n')
            continue;
        if (!upper_control && ((c >= 0x20 && c != 0x7f) || c == '\t' || c == '\n'))
        {
            out += static_cast<char>(c);
            continue;
        }
        char shown[8];
        std::snprintf(shown, sizeof shown, "\\x%02x",
                      upper_control ? static_cast<unsigned char>(utf8[++i]) : c);
        out += shown;
    }
    return out;
}

std::string native_path(const wchar_t* path)
{
#if __has_include(<plinth_platform.h>)
    char native[4096];
    if (const DWORD length = PlinthNativePath(path, native, sizeof native))
        return {native, length};
#endif
    return utf8_from_wide(path);
}

std::string error_text(DWORD error)
{
    wchar_t buffer[512];
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error,
                       0x400, buffer, sizeof buffer / sizeof buffer[0], nullptr);
    std::string text = utf8_from_wide(buffer, length);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' '))
        text.pop_back();
    return (text.empty() ? "system error" : text) + " (" + std::to_string(error) + ")";
}

} // namespace trace
