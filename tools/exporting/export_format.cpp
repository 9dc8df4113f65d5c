// The names of the formats, and JSON.
#include "export_format.h"

#include <cstdio>

#include "formats.h"
#include "text.h"

namespace trace
{

std::optional<ExportFormat> export_format_of(std::string_view name)
{
    if (name == "json")
        return ExportFormat::json;
    if (name == "rfc5424")
        return ExportFormat::rfc5424;
    if (name == "journal")
        return ExportFormat::journal;
    return std::nullopt;
}

std::string rfc3339_text(Time time)
{
    constexpr size_t length = 24; // of a year with four digits
    std::string text = utc_text(time);
    if (text.size() != length || text.starts_with('-'))
        return {};
    // To the microsecond: a stamp has milliseconds.
    char fraction[8];
    const Time within = (time % millisecond + millisecond) % millisecond;
    std::snprintf(fraction, sizeof fraction, "%03dZ", static_cast<int>(within));
    return text.replace(length - 1, 1, fraction);
}

std::string mark_text(const LogMark& mark)
{
    char text[20];
    const int length =
        std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(mark.hash));
    return {text, static_cast<size_t>(length)};
}

std::string exported(const Record& record, const Place* place, const std::string& host,
                     ExportFormat format)
{
    switch (format)
    {
    case ExportFormat::rfc5424:
        return as_syslog(record, place, host);
    case ExportFormat::journal:
        return as_journal(record, place, host);
    case ExportFormat::json:
        break;
    }
    return as_exported_json(record, place, host);
}

std::string as_exported_json(const Record& record, const Place* place, const std::string& host)
{
    const std::string time = rfc3339_text(record.time);
    std::string out = "{\"time\":" + (time.empty() ? "null" : json_text(time));
    if (record.is_time_inherited)
        out += ",\"inherited\":true";
    out += ",\"host\":" + json_text(host);
    if (place)
        out += ",\"file\":" + json_text(place->file) + ",\"id\":\"" + mark_text(place->mark) +
               "\",\"offset\":" + std::to_string(place->offset) +
               ",\"number\":" + std::to_string(place->number) +
               ",\"session\":" + std::to_string(place->session);
    if (record.is_loss())
    {
        out += ",\"lost\":" + std::to_string(record.lost);
        if (record.is_uncounted)
            out += ",\"uncounted\":true";
    }
    else
    {
        out += ",\"pid\":" + (record.process ? std::to_string(record.process) : "null");
        out += ",\"process\":" + (record.name ? json_text(*record.name) : "null");
        out += ",\"window\":";
        out += record.window == no_window ? "null" : std::to_string(record.window);
    }
    return out + ",\"text\":" + json_text(record.text) + "}\n";
}

} // namespace trace
