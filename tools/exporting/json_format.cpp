// Records as JSON, one object a line.
#include "formats.h"
#include "text.h"

namespace trace
{

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
