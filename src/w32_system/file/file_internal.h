// What the files of this folder share.
#pragma once

#include "plinth_w32_system.h"

// Fills every field of a struct tm from the system's calendar form; tm_isdst is -1. The values are
// copied without a check.
void QvSystemTimeToTm(const SYSTEMTIME& time, struct tm* result);

// Converts a file time (UTC) to broken-down local time. False if it can't be represented.
bool QvFileTimeToTm(const FILETIME& time, struct tm* result);

inline DWORD QvLow(uint64_t value)
{
    return static_cast<DWORD>(value & 0xFFFFFFFFu);
}

inline DWORD QvHigh(uint64_t value)
{
    return static_cast<DWORD>(value >> 32);
}

inline uint64_t QvJoin(DWORD high, DWORD low)
{
    return (static_cast<uint64_t>(high) << 32) | low;
}

inline bool QvIsSeparator(wchar_t c)
{
    return c == L'\\' || c == L'/';
}
