// One text of the debug string channel, and the forms in which it is shown.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <windows.h>

namespace trace
{

struct Record
{
    SYSTEMTIME time;  // UTC, when it was taken from the channel
    DWORD process;    // id of the writer
    std::string text; // UTF-8, without the line end behind it
};

// The window id that the text gives itself by the tag "|wndid:N", at its start or behind the stamp
// of a trace record, as the library's viewers read it; none without the tag.
std::optional<int32_t> window_of(std::string_view text);

// The lines of the text, each behind the writer's process id.
std::string as_lines(const Record& record, bool colour);

// One line of JSON: time (ISO 8601, UTC), pid, window (null without a tag), text.
std::string as_json(const Record& record);

} // namespace trace
