// What an append to a log file has to look after: the file's form, and remains on a full disk.
#pragma once

#include <cstdint>

#include <windows.h>

#include "plinth_w32_system.h"

// Statuses that don't leave the log: each is above 0.
inline constexpr int qv_no_copy = 1; // there was no memory for the working copy
inline constexpr int qv_file_lost =
    2; // the file has got another form, or can't be reached any more

// An open log file and its path.
struct QvLogTarget
{
    QvFile file;
    const wchar_t* path;
};

struct QvRecord
{
    const void* bytes;
    uint64_t size;
};

// Appends the record with one write. A part of it that got into the file before a failure is taken
// back, if nothing has been written after it. written: the bytes that stay. The status of the
// write, or qv_file_lost.
int QvAppendRecord(const QvLogTarget& log, const QvRecord& record, uint64_t& written);

// The same for the first bytes that an instance writes: under the gate, until deadline; an empty
// file gets the byte order mark if it needs one, which written counts. qv_file_lost too if the gate
// can't be had.
int QvAppendFirst(const QvLogTarget& log, const QvRecord& record, ULONGLONG deadline,
                  uint64_t& written);

// Whether the file was removed: it has no name any more, and its path names another file or none.
bool QvIsLogGone(const QvLogTarget& log);
