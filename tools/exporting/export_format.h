// A record as other programs take it: with its place, by which duplicates are recognised.
//
// The key of a record is its host, the file's path and mark, and the offset in the file: a record
// that is exported twice has the same key each time.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "place.h"
#include "record.h"

namespace trace
{

enum class ExportFormat
{
    json,    // one object a line
    rfc5424, // one syslog message a line; what would end the line or disturb a reader is escaped
    journal, // the export format of systemd's journal
};

// "json", "rfc5424", "journal".
std::optional<ExportFormat> export_format_of(std::string_view name);

// place: null for the report of a loss that is in no file. host: in UTF-8.
std::string exported(const Record& record, const Place* place, const std::string& host,
                     ExportFormat format);

} // namespace trace
