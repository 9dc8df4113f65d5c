#include "record.h"

#include <cstdio>

#include "text.h"

namespace trace
{

namespace
{

constexpr std::string_view window_tag = "|wndid:";
constexpr int64_t no_window = 0x7fffffff; // the viewer's own value for "none"; counts as 0

// Digits with a sign, as far as they go; what fits no 32-bit number stops at the last that does.
int32_t leading_number(std::string_view text)
{
    size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t'))
        ++i;
    const bool negative = i < text.size() && text[i] == '-';
    if (i < text.size() && (text[i] == '-' || text[i] == '+'))
        ++i;
    int64_t number = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
        if (number <= no_window)
            number = number * 10 + (text[i] - '0');
    if (number >= no_window)
        number = negative && number > no_window ? INT64_C(0x80000000) : no_window;
    number = negative ? -number : number;
    return number == no_window ? 0 : static_cast<int32_t>(number);
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
    const size_t at = text.rfind(window_tag);
    if (at == std::string_view::npos)
        return std::nullopt;
    return leading_number(text.substr(at + window_tag.size()));
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
