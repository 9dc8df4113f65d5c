// A record as an entry of the journal's export format: fields, then an empty line. A value with
// control characters is written with its length, so that no text can forge a field.
#include <algorithm>

#include "formats.h"
#include "text.h"

namespace trace
{

namespace
{

void append_field(std::string& out, std::string_view name, std::string_view value)
{
    out += name;
    const bool is_plain =
        std::none_of(value.begin(), value.end(),
                     [](char c) { return static_cast<unsigned char>(c) < ' ' && c != '\t'; });
    if (is_plain)
        (out += '=') += value;
    else
    {
        out += '\n';
        constexpr unsigned byte = 8;
        for (unsigned shift = 0; shift < 64; shift += byte) // little-endian
            out += static_cast<char>(uint64_t{value.size()} >> shift & 0xff);
        out += value;
    }
    out += '\n';
}

} // namespace

std::string as_journal(const Record& record, const Place* place, const std::string& host)
{
    std::string out;
    const auto append_number = [&out](std::string_view name, uint64_t value)
    { append_field(out, name, std::to_string(value)); };
    // The journal accepts no entry without a time, and none before 1970.
    const Time time = record.time > 0 ? record.time : current_time();
    append_number("__REALTIME_TIMESTAMP", static_cast<uint64_t>(time));
    append_field(out, "MESSAGE", record.text);
    append_field(out, "PRIORITY", record.is_loss() ? "4" : "6"); // warning, informational
    append_field(out, "_HOSTNAME", host);
    append_field(out, "SYSLOG_IDENTIFIER", record.name ? *record.name : "plinth");
    if (record.process)
        append_number("SYSLOG_PID", record.process);
    if (place)
    {
        append_field(out, "PLINTH_FILE", place->file);
        append_field(out, "PLINTH_ID", mark_text(place->mark));
        append_number("PLINTH_OFFSET", place->offset);
        append_number("PLINTH_NUMBER", place->number);
        append_number("PLINTH_SESSION", place->session);
    }
    if (record.window != no_window)
        append_field(out, "PLINTH_WINDOW", std::to_string(record.window));
    if (record.is_loss())
        append_number("PLINTH_LOST", record.lost);
    if (record.is_uncounted)
        append_field(out, "PLINTH_UNCOUNTED", "true");
    return out + '\n';
}

} // namespace trace
