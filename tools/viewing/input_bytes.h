// Standard input, read with a limit of time. One source file for each system.
#pragma once

#include <cstddef>
#include <optional>

namespace trace
{

// Reads what is available, at most size bytes: 0 at the end, nothing if no byte came in time. Fails
// if the input can't be read.
std::optional<size_t> read_input(char* buffer, size_t size, unsigned milliseconds);

} // namespace trace
