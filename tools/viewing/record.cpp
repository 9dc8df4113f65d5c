#include "record.h"

#include <algorithm>
#include <utility>

#include "text.h"

namespace trace
{

namespace
{

constexpr std::string_view window_tag = "|wndid:";

// Reads blanks of any kind, then digits with a sign; a number beyond 32 bits becomes the nearest
// that fits.
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

std::string json_text_or_null(std::string_view utf8)
{
    return utf8.empty() ? "null" : json_text(utf8);
}

} // namespace

Record loss_of(uint64_t count, std::string why)
{
    return {.time = current_time(), .text = std::move(why), .lost = count};
}

Record uncounted_loss(std::string why)
{
    Record record = loss_of(1, std::move(why));
    record.is_uncounted = true;
    return record;
}

size_t bytes_of(const Record& record)
{
    constexpr size_t overhead = 16; // of the heap block that holds the text
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

std::string as_json(const RecordView& record)
{
    std::string out = "{\"time\":" + json_text_or_null(utc_text(record.time));
    if (record.is_time_inherited)
        out += ",\"inherited\":true";
    if (record.is_loss())
    {
        out += ",\"lost\":" + std::to_string(record.lost);
        if (record.is_uncounted)
            out += ",\"uncounted\":true";
        if (record.since != unknown_time)
            out += ",\"since\":" + json_text(utc_text(record.since));
    }
    else
    {
        out += ",\"pid\":" + (record.process ? std::to_string(record.process) : "null");
        out += ",\"process\":";
        out += json_text_or_null(record.name);
        out += ",\"window\":";
        out += record.window == no_window ? "null" : std::to_string(record.window);
    }
    return out + ",\"text\":" + json_text(record.text) + "}\n";
}

} // namespace trace
