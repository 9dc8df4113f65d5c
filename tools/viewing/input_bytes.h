// Standard input, read with a limit of time. One source file for each system.
#pragma once

#include <cstddef>
#include <optional>

namespace trace
{

// Reads what is there, up to size bytes: 0 at the end, nothing if none came in so many
// milliseconds. Failure if it can't be read.
std::optional<size_t> read_input(char* buffer, size_t size, unsigned milliseconds);

} // namespace trace
