// One record as a viewer has it: a text with the time, the writer and the window that belong to it,
// or the news that records were lost at this place.
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

// The value that viewers have for a text without a window.
inline constexpr int32_t no_window = INT32_MAX;

struct Record
{
    Time time = unknown_time;                  // of arrival, or what the record's stamp says
    bool is_time_inherited = false;            // it has no stamp: the time of the one before it
    DWORD process = 0;                         // id of the writer; 0 if the source doesn't tell
    int32_t window = no_window;                // see window_of
    std::shared_ptr<const std::string> name{}; // the writer's; null if it can't be found out
    std::string text{};                        // UTF-8, without the line end behind it
    uint64_t lost = 0;         // above 0: so many records are missing here, and the text says why
    bool is_uncounted = false; // their number is unknown, and lost is 1
    Time since = unknown_time; // of a loss whose number is unknown: it was from here to its time

    bool is_loss() const { return lost > 0; }
};

// A record whose texts are another's: a Record's, or a Store's, there until the next append.
struct RecordView
{
    Time time = unknown_time;
    bool is_time_inherited = false;
    DWORD process = 0;
    int32_t window = no_window;
    std::string_view name{}; // the writer's; empty if it can't be found out
    std::string_view text{};
    uint64_t lost = 0;
    bool is_uncounted = false;
    Time since = unknown_time;

    RecordView() = default;
    RecordView(const Record& record) // not explicit: a Record is one, too
        : time(record.time), is_time_inherited(record.is_time_inherited), process(record.process),
          window(record.window), name(record.name ? std::string_view(*record.name) : ""),
          text(record.text), lost(record.lost), is_uncounted(record.is_uncounted),
          since(record.since)
    {
    }

    bool is_loss() const { return lost > 0; }
};

// The record that is where others are missing.
Record loss_of(uint64_t count, std::string why);
// The same where nobody can tell how many: each such place counts as one.
Record uncounted_loss(std::string why);

// What a record takes up in memory.
size_t bytes_of(const Record& record);

// The window id that the text gives itself by the tag "|wndid:N", at its start or behind the stamp
// of a trace record, as the library's viewers read it; none without the tag.
std::optional<int32_t> window_of(std::string_view text);

// One line of JSON: time (ISO 8601, UTC), pid, process (the writer's name), window, text, each null
// if there is none; of a loss: time, lost (how many), "uncounted":true if nobody knows how many,
// since if it is known, text (why). A time that is inherited is followed by "inherited":true.
std::string as_json(const RecordView& record);

} // namespace trace
