// The formats one by one; other files call exported (export_format.h).
#pragma once

#include <string>

#include "place.h"
#include "record.h"

namespace trace
{

std::string as_exported_json(const Record& record, const Place* place, const std::string& host);
std::string as_syslog(const Record& record, const Place* place, const std::string& host);
std::string as_journal(const Record& record, const Place* place, const std::string& host);

} // namespace trace
