// Where files are begun to be read when not all of their records are wanted.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "log_reader.h"

namespace trace
{

struct LogBounds
{
    std::optional<Time> since{};    // no records before
    std::optional<Time> until{};    // none after
    std::optional<uint64_t> tail{}; // at first only so many, the last ones of all files together
    bool follows = true;            // go on with what is written later
};

// Moves each reader, which has been told what was found, to its first record that is wanted, or to
// some record before that.
void start_readers(const std::vector<std::shared_ptr<LogReader>>& readers, const LogBounds& bounds,
                   const Moment& now);

} // namespace trace
