// The times that --since and --until accept.
#pragma once

#include <optional>
#include <string_view>

#include "record_time.h"

namespace trace
{

// Local time "2024-03-05 14:07:33.006", of which only the date is required; "14:07" of today; with
// a Z at the end UTC; or a time before now: "90s", "10m", "2h", "1d". Nothing for other texts.
std::optional<Time> time_from(std::string_view text, Time now);

} // namespace trace
