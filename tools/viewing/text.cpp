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

// Whether each byte is a printable character of ASCII: from the blank to the tilde.
bool is_shown_ascii(uint64_t bytes)
{
    constexpr uint64_t each = 0x0101010101010101;
    constexpr uint64_t top_bits = 0x80 * each;
    const uint64_t below_blank = (bytes - 0x20 * each) & ~bytes;
    const uint64_t above_tilde = (bytes + each) | bytes;
    return ((below_blank | above_tilde) & top_bits) == 0;
}

constexpr bool is_shown_ascii(char byte)
{
    return byte >= 0x20 && byte < 0x7F;
}

// The position of the first byte, from `at` on, that is no printable ASCII character.
size_t end_of_shown_ascii(std::string_view text, size_t at)
{
    for (uint64_t bytes; at + sizeof bytes <= text.size(); at += sizeof bytes)
    {
        std::memcpy(&bytes, text.data() + at, sizeof bytes);
        if (!is_shown_ascii(bytes))
            break;
    }
    while (at < text.size() && is_shown_ascii(text[at]))
        ++at;
    return at;
}

// Appends the text with some characters replaced: deceptive ones, invalid ones, and those of ASCII
// at which end_of_plain(text, at) stops. write(out, c, is_character, rest) does the replacing; rest
// is the text after the character. The other characters, nearly all, are copied in long parts.
template <class EndOfPlain, class Write>
void append_rewritten(std::string& out, std::string_view utf8, EndOfPlain&& end_of_plain,
                      Write&& write)
{
    size_t kept = 0; // where the text that is not copied yet begins
    for (size_t at = end_of_plain(utf8, 0); at < utf8.size(); at = end_of_plain(utf8, at))
    {
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
    out += utf8.substr(kept);
}

// The same, over tabs and line ends.
size_t end_of_plain_text(std::string_view text, size_t at)
{
    at = end_of_shown_ascii(text, at);
    while (at < text.size() && (text[at] == '\t' || text[at] == '\n'))
        at = end_of_shown_ascii(text, at + 1);
    return at;
}

// What json_text writes otherwise among shown ASCII.
size_t end_of_plain_json(std::string_view text, size_t at)
{
    while (at < text.size() && is_shown_ascii(text[at]) && text[at] != '"' && text[at] != '\\')
        ++at;
    return at;
}

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

void append_printable(std::string& out, std::string_view utf8)
{
    append_rewritten(out, utf8, end_of_plain_text,
                     [](std::string& to, uint32_t c, bool, std::string_view rest)
                     {
                         if (c != '\r' || !rest.starts_with('\n'))
                             append_visible(to, c);
                     });
}

std::string printable(std::string_view utf8)
{
    std::string out;
    append_printable(out, utf8);
    return out;
}

std::string printable_name(std::string_view utf8)
{
    std::string out;
    append_rewritten(out, utf8, end_of_shown_ascii,
                     [](std::string& to, uint32_t c, bool, std::string_view)
                     { append_visible(to, c); });
    return out;
}

std::string json_text(std::string_view utf8)
{
    std::string out = "\"";
    append_rewritten(out, utf8, end_of_plain_json,
                     [](std::string& to, uint32_t c, bool is_character, std::string_view)
                     {
                         if (c == '"' || c == '\\')
                             (to += '\\') += static_cast<char>(c);
                         else
                             append_json_escape(to, is_character ? c : replacement);
                     });
    return out += '"';
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
