#include "record.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace trace
{

namespace
{

constexpr std::string_view window_tag = "|wndid:";

// Blanks of any kind, then digits with a sign, as far as they go; a number beyond 32 bits is the
// last that fits.
int64_t leading_number(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
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

void append_json_text_or_null(std::string& out, std::string_view utf8)
{
    if (utf8.empty())
        out += "null";
    else
        append_json_text(out, utf8);
}

} // namespace

Record loss_of(uint64_t count, std::string why)
{
    return {.time = current_time(), .text = std::move(why), .lost = count};
}

size_t bytes_of(const Record& record)
{
    constexpr size_t overhead = 16; // of the block that the text is in
    return sizeof record + overhead + record.text.size();
}

std::optional<int32_t> window_of(std::string_view text)
{
    if (!text.starts_with(window_tag))
    {
        const std::optional<Stamp> stamp = stamp_of(text);
        if (!stamp)
            return std::nullopt;
        const size_t tag = text.find(window_tag, stamp->length - 1);
        if (tag == std::string_view::npos)
            return std::nullopt;
        text.remove_prefix(tag);
    }
    const int64_t id = leading_number(text.substr(window_tag.size()));
    if (id == no_window)
        return std::nullopt;
    return static_cast<int32_t>(id);
}

std::string as_json(const Record& record)
{
    std::string out = "{\"time\":";
    append_json_text_or_null(out, utc_text(record.time));
    if (record.is_loss())
        out += ",\"lost\":" + std::to_string(record.lost);
    else
    {
        out += ",\"pid\":" + (record.process ? std::to_string(record.process) : "null");
        out += ",\"process\":";
        append_json_text_or_null(out, record.name ? *record.name : std::string());
        out += ",\"window\":";
        out += record.window == no_window ? "null" : std::to_string(record.window);
    }
    out += ",\"text\":";
    append_json_text(out, record.text);
    out += "}\n";
    return out;
}

} // namespace trace
