// Shared by the sources of the log.
//
// m_classLock is held from the moment when an operation finds the instance until it no longer uses
// it: other threads close, split and disable the log at any time. It must be held for the
// constructor and for functions whose name contains "Locked".
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include <windows.h>

#include "frame.h"
#include "mutex_guard.h"

inline constexpr const char* qv_logfile_source = "src\\w32_system\\debugging\\logfile";

inline constexpr size_t qv_folder_limit = 512; // characters of a log folder, terminator included
inline constexpr size_t qv_stamp_limit = 32;   // characters of a time stamp, with some to spare
inline constexpr DWORD qv_no_limit = 0xFFFFFFFFu;

inline constexpr const wchar_t* qv_logfile_key = L"Software\\Quorvane\\Misc\\LogFile";
inline constexpr const wchar_t* qv_value_days = L"MaxLogDays";
inline constexpr const wchar_t* qv_value_megabytes = L"MaxLogMBytes";
inline constexpr const wchar_t* qv_value_per_session = L"LogPerSession_4";

// Holds m_classLock. If the lock could not be created, the log works without it; after the
// library's detach the log doesn't work.
class QvLogLock : QvMutexGuard
{
public:
    QvLogLock() : QvMutexGuard(CQvLogFile::m_classLock) {}
};

inline constexpr size_t qv_unknown = SIZE_MAX;

// CQvLogFile::Log for callers that already know the number of characters before the message's first
// zero character, and the second of the wall clock.
int QvLog(const wchar_t* message, int detail, size_t length = qv_unknown, int64_t second = -1);

// Traces the text of an execution time. It is here because records show this source's name.
void QvTraceExecutionTime(const wchar_t* text);

// The exported variables are read and written without a lock.
inline bool QvIsLogEnabled()
{
    return std::atomic_ref(CQvLogFile::m_bLogEnabled).load(std::memory_order_relaxed);
}

// A stamp that was formatted. Many records are made in one millisecond, and formatting a stamp
// costs as much as the rest of a short record. So a caller that makes many stamps keeps the last
// one, whose text is used again.
struct QvStamp
{
    int64_t mark = 0; // the moment that it shows, in ms since 1970, plus 1; 0: none
    size_t millisecondsAt = 0;
    size_t length = 0;
    wchar_t text[qv_stamp_limit] = {}; // terminated
};

// Writes the stamp at the beginning of each record. Returns its length, and in moment the time that
// it shows, in ms since 1970. Writes all qv_stamp_limit characters of the buffer. Without a local
// time it returns 0 and leaves the buffer unchanged. The caller's lock guards last.
size_t QvTimeStamp(wchar_t* buffer, QvStamp& last, int64_t& moment);

// The date in a log file's name.
struct QvLogDate
{
    int year;
    int month; // 1 to 12
    int day;
};

// False if the local time is unknown.
bool QvLogToday(QvLogDate& today);

// The number for a day's next or latest file: the highest existing one, plus one if a new file is
// wanted and the day has any; 0 if that exceeds 9999.
unsigned QvLogNumber(const wchar_t* folder, const QvLogDate& date, bool newFile);

// folder + "qvapp_YYYY-MM-DD" + "_(NNNN)" + ".log"; the number is left out if it is 0. The buffer
// has 1,024 characters.
void QvLogPath(wchar_t* path, const wchar_t* folder, const QvLogDate& date, unsigned number);

// The log files of a folder, the oldest name first. A folder, or a link to one, is no log file,
// whatever its name.
class QvLogSearch
{
public:
    explicit QvLogSearch(const wchar_t* folder);
    QvLogSearch(const QvLogSearch&) = delete;
    QvLogSearch& operator=(const QvLogSearch&) = delete;
    ~QvLogSearch();
    // The next name without its folder, good until the next call; null after the last one.
    const wchar_t* Next();

private:
    QvFindHandle m_search = nullptr;
    QvFindData m_entry = {};
    int m_status; // of the last look
    bool m_hasBegun = false;
};

// Opens a log file for appending, and creates it if it is missing: each write is one atomic append,
// also between processes. The status of QV_OpenFile.
int QvOpenLogFile(const wchar_t* path, QvFile* file);

// Removes the files of a folder that are older than so many days. Folders stay.
void QvRemoveOldLogs(const wchar_t* folder, uint32_t days);

// Finds the folder's name in the bytes of a "SetupOptions.xml" and copies it, terminated. False if
// there is no name, or if it does not fit.
bool QvFindAppFolder(const void* bytes, size_t size, wchar_t* name, size_t limit);
