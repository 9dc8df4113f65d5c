// Appending to a log file: keeps the file in one form, and removes partial records on a full disk.
#pragma once

#include <cstdint>

#include <windows.h>

#include "plinth_w32_system.h"

// Statuses that are not returned to callers of the log: each is above 0.
inline constexpr int qv_no_copy = 1; // no memory for the working copy
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

// Called after a write that failed with the status and the last error. Removes the part of the
// record that was written, if nothing has been written after it. Returns the status, or
// qv_file_lost.
int QvTakeBackRecord(const QvLogTarget& log, const QvRecord& record, bool hasGate, int status,
                     uint64_t& written);

// Appends the record with one write, under the gate if the caller holds it. written: the bytes that
// stay. Returns the status of the write, or qv_file_lost. Inline, because each level of calls
// around the write costs more than usual, presumably because the system call clears the processor's
// predictions of returns: two levels less saved about 25 of the 125 ns that QV_Log adds to its
// write.
inline int QvAppendRecord(const QvLogTarget& log, const QvRecord& record, uint64_t& written,
                          bool hasGate = false)
{
    const int status = QV_WriteFile(log.file, record.bytes, record.size, &written, nullptr);
    return status == QV_OK ? status : QvTakeBackRecord(log, record, hasGate, status, written);
}

// The same for the first bytes that an instance writes: under the gate, until the deadline. An
// empty file first gets the byte order mark if it needs one; written includes it. Also returns
// qv_file_lost if the gate can't be taken.
int QvAppendFirst(const QvLogTarget& log, const QvRecord& record, ULONGLONG deadline,
                  uint64_t& written);

// Whether the file was removed: it no longer has a name, and its path leads to another file or
// none.
bool QvIsLogGone(const QvLogTarget& log);
