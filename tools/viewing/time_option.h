// The times that --since and --until take.
#pragma once

#include <optional>
#include <string_view>

#include "record_time.h"

namespace trace
{

// Local time "2024-03-05 14:07:33.006" as far as it is given, but at least a date; "14:07" of
// today; with a Z at the end UTC; so long before now: "90s", "10m", "2h", "1d". Nothing for other
// texts.
std::optional<Time> time_from(std::string_view text, Time now);

} // namespace trace
