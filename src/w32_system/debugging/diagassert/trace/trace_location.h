// The source location that trace records show: that of the last DiagOutputExW_hlp of any thread.
#pragma once

#include <cstddef>
#include <cstdint>

// The location of this module's own records.
inline constexpr const char* qv_diagassert_source = "src\\w32_system\\debugging\\diagassert";

inline constexpr size_t qv_location_limit =
    1024; // characters of a source file, terminator included

// Copies file and line as one unit. The file is widened; its buffer has qv_location_limit
// characters. Empty text and -1 before the first location. Needs the trace lock.
void QvTraceLocation(wchar_t* file, int32_t& line);
