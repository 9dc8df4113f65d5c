// One record of a viewer: a text with its time, writer and window, or the report that records were
// lost at this place.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <windows.h>

#include "record_time.h"

namespace trace
{

// The viewers' value for a text without a window.
inline constexpr int32_t no_window = INT32_MAX;

struct Record
{
    Time time = unknown_time;                  // of arrival, or from the record's stamp
    bool is_time_inherited = false;            // it has no stamp: the time of the record before it
    DWORD process = 0;                         // id of the writer; 0 if the source doesn't have it
    int32_t window = no_window;                // see window_of
    std::shared_ptr<const std::string> name{}; // the writer's; null if unknown
    std::string text{};                        // UTF-8, without the line end after it
    uint64_t lost = 0;                         // above 0: number missing here; text has the reason
    bool is_uncounted = false;                 // their number is unknown, and lost is 1
    Time since = unknown_time; // if their number is unknown: lost between this and time

    bool is_loss() const { return lost > 0; }
};

// A record whose texts belong to another object: to a Record, or to a Store until the next append.
struct RecordView
{
    Time time = unknown_time;
    bool is_time_inherited = false;
    DWORD process = 0;
    int32_t window = no_window;
    std::string_view name{}; // the writer's; empty if unknown
    std::string_view text{};
    uint64_t lost = 0;
    bool is_uncounted = false;
    Time since = unknown_time;

    RecordView() = default;
    RecordView(const Record& record) // not explicit: a Record can be used as a view
        : time(record.time), is_time_inherited(record.is_time_inherited), process(record.process),
          window(record.window), name(record.name ? std::string_view(*record.name) : ""),
          text(record.text), lost(record.lost), is_uncounted(record.is_uncounted),
          since(record.since)
    {
    }

    bool is_loss() const { return lost > 0; }
};

// A record in place of missing ones.
Record loss_of(uint64_t count, std::string why);
// The same if their number is unknown: each such place counts as one.
Record uncounted_loss(std::string why);

// The memory that a record takes.
size_t bytes_of(const Record& record);

// The window id that the text sets by the tag "|wndid:N", at its start or after the stamp of a
// trace record, as the library's viewers read it; none without the tag.
std::optional<int32_t> window_of(std::string_view text);

// One line of JSON: time (ISO 8601, UTC), pid, process (the writer's name), window, text, each null
// if there is none; for a loss: time, lost (how many), "uncounted":true if the number is unknown,
// since if it is known, text (the reason). An inherited time is followed by "inherited":true.
std::string as_json(const RecordView& record);

} // namespace trace
