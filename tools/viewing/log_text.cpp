#include "log_text.h"

#include "text.h"

namespace trace
{

namespace
{

unsigned unit_at(std::string_view utf16, size_t at)
{
    return static_cast<unsigned char>(utf16[at]) |
           static_cast<unsigned>(static_cast<unsigned char>(utf16[at + 1])) << 8;
}

} // namespace

void append_outline(std::string& outline, std::string_view utf16)
{
    constexpr unsigned ascii_end = 0x80;
    constexpr unsigned pair_mask = 0xfc00;
    constexpr unsigned pair_start = 0xd800;
    for (size_t at = 0; at + 1 < utf16.size(); at += 2)
    {
        const unsigned unit = unit_at(utf16, at);
        if (unit < ascii_end)
            outline += static_cast<char>(unit);
        else
            outline += (unit & pair_mask) == pair_start ? outline_pair : outline_other;
    }
}

std::string utf8_of(LogForm form, std::string_view bytes)
{
    if (form == LogForm::ansi)
    {
        std::string out;
        out.reserve(bytes.size());
        for (const char c : bytes)
            append_utf8(out, static_cast<unsigned char>(c));
        return out;
    }
    WideText units;
    units.reserve(bytes.size() / 2);
    for (size_t at = 0; at + 1 < bytes.size(); at += 2)
        units.push_back(static_cast<wchar_t>(unit_at(bytes, at)));
    return utf8_from_wide(units.data(), units.size());
}

} // namespace trace
