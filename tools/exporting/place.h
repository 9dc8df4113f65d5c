// The place of a record, and what all formats write in the same way.
#pragma once

#include <cstdint>
#include <string>

#include "log_progress.h"
#include "record_time.h"

namespace trace
{

// Where a record of a file was found.
struct Place
{
    std::string file;     // native path
    LogMark mark{};       // of the file
    uint64_t offset = 0;  // bytes in the file, where the record begins
    uint64_t number = 0;  // of the record in its file, from 1
    uint64_t session = 0; // number of the session that the record belongs to; 0 before the first
};

// "2024-03-05T13:07:33.006000Z"; empty if the time is not known or has no year of four digits.
std::string rfc3339_text(Time time);

// The mark as 16 hexadecimal digits.
std::string mark_text(const LogMark& mark);

} // namespace trace
