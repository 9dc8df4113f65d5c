// The names of the formats, and which function writes each.
#include "export_format.h"

#include "formats.h"

namespace trace
{

std::optional<ExportFormat> export_format_of(std::string_view name)
{
    if (name == "json")
        return ExportFormat::json;
    if (name == "rfc5424")
        return ExportFormat::rfc5424;
    if (name == "journal")
        return ExportFormat::journal;
    return std::nullopt;
}

std::string exported(const Record& record, const Place* place, const std::string& host,
                     ExportFormat format)
{
    switch (format)
    {
    case ExportFormat::rfc5424:
        return as_syslog(record, place, host);
    case ExportFormat::journal:
        return as_journal(record, place, host);
    case ExportFormat::json:
        break;
    }
    return as_exported_json(record, place, host);
}

} // namespace trace
