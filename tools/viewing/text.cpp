// The system's own functions convert text, so that both platforms return the same.
#include "text.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#if __has_include(<plinth_platform.h>)
#include <plinth_platform.h>
#endif

#include "system/harmless_text.h"

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

constexpr uint32_t replacement = 0xFFFD; // for invalid characters

// The text with some characters replaced: deceptive ones, invalid ones, and those of ASCII for
// which wanted(byte) is true. write(out, c, is_character, rest) does the replacing; rest is the
// text after the character. The other characters, nearly all, are copied in long parts.
template <class Wanted, class Write>
std::string rewritten(std::string_view utf8, Wanted&& wanted, Write&& write)
{
    std::string out;
    size_t kept = 0; // where the text that is not copied yet begins
    for (size_t at = 0; at < utf8.size();)
    {
        const char byte = utf8[at];
        if (byte >= 0x20 && byte < 0x7F && !wanted(byte))
        {
            ++at;
            continue;
        }
        uint32_t c;
        size_t bytes;
        const bool is_character = platform::next_character(utf8.substr(at), c, bytes);
        const size_t next = at + bytes;
        if (!is_character || platform::is_treacherous(c) || c < 0x7F)
        {
            out += utf8.substr(kept, at - kept);
            write(out, c, is_character, utf8.substr(next));
            kept = next;
        }
        at = next;
    }
    return out += utf8.substr(kept);
}

constexpr auto nothing_more = [](char) { return false; };

void append_json_escape(std::string& out, uint32_t c)
{
    constexpr struct
    {
        char c;
        const char* escape;
    } short_forms[] = {{'\n', "\\n"}, {'\r', "\\r"}, {'\t', "\\t"}};
    for (const auto& form : short_forms)
        if (c == static_cast<unsigned char>(form.c))
        {
            out += form.escape;
            return;
        }
    char escape[16];
    if (c < 0x10000)
        std::snprintf(escape, sizeof escape, "\\u%04x", c);
    else // a surrogate pair
        std::snprintf(escape, sizeof escape, "\\u%04x\\u%04x", 0xD7C0 + (c >> 10),
                      0xDC00 + (c & 0x3FF));
    out += escape;
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

bool is_ascii(std::string_view text)
{
    uint64_t all = 0;
    size_t at = 0;
    for (uint64_t word; at + sizeof word <= text.size(); at += sizeof word)
    {
        std::memcpy(&word, text.data() + at, sizeof word);
        all |= word;
    }
    for (; at < text.size(); ++at)
        all |= static_cast<unsigned char>(text[at]);
    return (all & 0x8080808080808080U) == 0;
}

std::string utf8_from_narrow(std::string_view text)
{
    if (is_ascii(text))
        return std::string(text);
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

void append_visible(std::string& out, uint32_t c)
{
    char shown[16];
    std::snprintf(shown, sizeof shown, c < 0x100 ? "\\x%02x" : "\\u{%x}", c);
    out += shown;
}

std::string printable(std::string_view utf8)
{
    return rewritten(utf8, nothing_more,
                     [](std::string& out, uint32_t c, bool, std::string_view rest)
                     {
                         if (c == '\t' || c == '\n')
                             out += static_cast<char>(c);
                         else if (c != '\r' || !rest.starts_with('\n'))
                             append_visible(out, c);
                     });
}

std::string printable_name(std::string_view utf8)
{
    return rewritten(utf8, nothing_more,
                     [](std::string& out, uint32_t c, bool, std::string_view)
                     { append_visible(out, c); });
}

std::string json_text(std::string_view utf8)
{
    return '"' +
           rewritten(
               utf8, [](char c) { return c == '"' || c == '\\'; },
               [](std::string& out, uint32_t c, bool is_character, std::string_view)
               {
                   if (c == '"' || c == '\\')
                       (out += '\\') += static_cast<char>(c);
                   else
                       append_json_escape(out, is_character ? c : replacement);
               }) +
           '"';
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
