#include "record.h"

#include <algorithm>
#include <cstdio>

#include "text.h"

namespace trace
{

namespace
{

constexpr std::string_view window_tag = "|wndid:";
constexpr int64_t no_window = INT32_MAX; // the viewers' own value for a text without a window

// "YYYY-MM-DD hh:mm:ss.mmm *vtq* ": the marker counts only where a stamp can end.
constexpr std::string_view stamp_end = " *vtq* ";
constexpr size_t least_stamp = 23;
constexpr size_t most_stamp = 25; // a year of more than four digits

// Digits with a sign, as far as they go; a number beyond 32 bits is the last that fits.
int64_t leading_number(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    int64_t number = 0;
    for (const char c : text.substr(0, text.find_first_not_of("0123456789")))
        number = std::min(number * 10 + (c - '0'), int64_t{INT32_MAX} + 1);
    return negative ? -number : std::min(number, int64_t{INT32_MAX});
}

void append_json_text(std::string& out, std::string_view utf8)
{
    out += '"';
    for (const char c : utf8)
    {
        switch (c)
        {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (static_cast<unsigned char>(c) >= 0x20 && c != 0x7f)
            {
                out += c;
                break;
            }
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned char>(c));
            out += escaped;
        }
    }
    out += '"';
}

} // namespace

std::optional<int32_t> window_of(std::string_view text)
{
    if (!text.starts_with(window_tag))
    {
        const size_t mark = text.find(stamp_end);
        if (mark < least_stamp || mark > most_stamp)
            return std::nullopt;
        const size_t tag = text.find(window_tag, mark);
        if (tag == std::string_view::npos)
            return std::nullopt;
        text.remove_prefix(tag);
    }
    const int64_t id = leading_number(text.substr(window_tag.size()));
    if (id == no_window)
        return std::nullopt;
    return static_cast<int32_t>(id);
}

std::string as_lines(const Record& record, bool colour)
{
    char prefix[48];
    std::snprintf(prefix, sizeof prefix, colour ? "\x1b[36m%7u\x1b[0m  " : "%7u  ",
                  static_cast<unsigned>(record.process));
    const std::string text = printable(record.text);
    std::string out;
    size_t start = 0;
    do
    {
        const size_t end = text.find('\n', start);
        out.append(prefix).append(text, start, end - start).append("\n");
        start = end == std::string::npos ? std::string::npos : end + 1;
    } while (start != std::string::npos);
    return out;
}

std::string as_json(const Record& record)
{
    const SYSTEMTIME& t = record.time;
    char head[128];
    std::snprintf(head, sizeof head,
                  "{\"time\":\"%04u-%02u-%02uT%02u:%02u:%02u.%03uZ\",\"pid\":%u,\"window\":",
                  unsigned{t.wYear}, unsigned{t.wMonth}, unsigned{t.wDay}, unsigned{t.wHour},
                  unsigned{t.wMinute}, unsigned{t.wSecond}, unsigned{t.wMilliseconds},
                  static_cast<unsigned>(record.process));
    std::string out = head;
    const std::optional<int32_t> window = window_of(record.text);
    out += window ? std::to_string(*window) : "null";
    out += ",\"text\":";
    append_json_text(out, record.text);
    out += "}\n";
    return out;
}

} // namespace trace
