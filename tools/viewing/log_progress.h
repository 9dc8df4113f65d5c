// How far a log file was read: all that a reader needs to continue as if it had never stopped.
#pragma once

#include <cstdint>

#include "record_time.h"

namespace trace
{

// Distinguishes files that had the same path, one after the other: a hash of the first bytes, which
// hold the stamp of the file's first session. Unlike the system's number of the file, it is the
// same after a reboot, and for a copy of the folder.
struct LogMark
{
    uint64_t length = 0; // bytes; 0: unknown so far
    uint64_t hash = 0;

    friend bool operator==(const LogMark&, const LogMark&) = default;
};

struct LogProgress
{
    uint64_t offset = 0;      // bytes, where the next record begins
    uint64_t number = 0;      // records before it
    uint64_t session = 0;     // sessions that began before it
    Time last = unknown_time; // time of the stamp before it
    bool has_lines = true;    // each line is a record of its own (record_cutter.h)
    bool skips_end = false;   // the line end of the record before it may still come

    friend bool operator==(const LogProgress&, const LogProgress&) = default;
};

} // namespace trace
