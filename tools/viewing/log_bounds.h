// Where reading a file begins if not all of its records are wanted.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "log_reader.h"

namespace trace
{

struct LogBounds
{
    std::optional<Time> since{};    // no records before this
    std::optional<Time> until{};    // none after this
    std::optional<uint64_t> tail{}; // at first only the last ones, of all files together
    bool follows = true;            // continue with what is written later
};

// Moves each reader to its first record that is wanted, or to some record before that. Each
// reader's `found` was called before.
void start_readers(const std::vector<std::shared_ptr<LogReader>>& readers, const LogBounds& bounds,
                   const Moment& now);

} // namespace trace
