// A record as other programs take it: with its place, by which a duplicate is known.
//
// The key of a record is its host, the file's path and mark, and the offset in it: a record that is
// exported twice has the same each time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "log_progress.h"
#include "record.h"

namespace trace
{

// Where a record of a file was found.
struct Place
{
    std::string file;     // native path
    LogMark mark{};       // of the file
    uint64_t offset = 0;  // bytes in the file, where the record begins
    uint64_t number = 0;  // of the record in its file, from 1
    uint64_t session = 0; // the same of the session that it belongs to; 0 before the first
};

enum class ExportFormat
{
    json,    // an object a line
    rfc5424, // a syslog message a line; what would end the line or disturb a reader is escaped
    journal, // the export format of systemd's journal
};

// "json", "rfc5424", "journal".
std::optional<ExportFormat> export_format_of(std::string_view name);

// place: null for news of a loss that no file has told. host: in UTF-8.
std::string exported(const Record& record, const Place* place, const std::string& host,
                     ExportFormat format);

// "2024-03-05T13:07:33.006000Z"; empty if the time is not known or has no year of four digits.
std::string rfc3339_text(Time time);

// The mark as 16 hexadecimal digits.
std::string mark_text(const LogMark& mark);

} // namespace trace
