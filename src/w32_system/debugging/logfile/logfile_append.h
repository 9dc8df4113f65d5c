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

// After a write that has failed with the status and the last error: takes back the part of the
// record that got into the file, if nothing has been written after it. Returns the status, or
// qv_file_lost.
int QvTakeBackRecord(const QvLogTarget& log, const QvRecord& record, bool has_gate, int status,
                     uint64_t& written);

// Appends the record with one write, under the gate if the caller has it. written: the bytes that
// stay. Returns the status of the write, or qv_file_lost. Inline, since each level of calls around
// the write costs more than usual, presumably as the system call takes the processor's predictions
// of returns: two levels less saved about 25 of the 125 ns that QV_Log adds to its write.
inline int QvAppendRecord(const QvLogTarget& log, const QvRecord& record, uint64_t& written,
                          bool has_gate = false)
{
    const int status = QV_WriteFile(log.file, record.bytes, record.size, &written, nullptr);
    return status == QV_OK ? status : QvTakeBackRecord(log, record, has_gate, status, written);
}

// The same for the first bytes that an instance writes: under the gate, until deadline; an empty
// file gets the byte order mark if it needs one, which written counts. qv_file_lost too if the gate
// can't be had.
int QvAppendFirst(const QvLogTarget& log, const QvRecord& record, ULONGLONG deadline,
                  uint64_t& written);

// Whether the file was removed: it has no name any more, and its path names another file or none.
bool QvIsLogGone(const QvLogTarget& log);
