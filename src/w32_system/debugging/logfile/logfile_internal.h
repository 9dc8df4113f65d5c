// What the sources of the log share.
//
// m_classLock is held from the moment at which an operation finds the instance until it has done
// with it: other threads close, split and disable the log at any time. Helpers whose name says
// "Locked", and the constructor, need it held.
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

// Holds m_classLock. Without a lock to be had (it could not be made) the log works all the same;
// after the library's detach it doesn't.
class QvLogLock : QvMutexGuard
{
public:
    QvLogLock() : QvMutexGuard(CQvLogFile::m_classLock) {}
};

inline constexpr size_t qv_unknown = SIZE_MAX;

// CQvLogFile::Log, for callers who know already how many characters the message has before its
// first one of zero, and the second of the wall clock.
int QvLog(const wchar_t* message, int detail, size_t length = qv_unknown, int64_t second = -1);

// Traces the text of an execution time, from the log's source: records name that one.
void QvTraceExecutionTime(const wchar_t* text);

// The exported words are read and written without a lock.
inline bool QvIsLogEnabled()
{
    return std::atomic_ref(CQvLogFile::m_bLogEnabled).load(std::memory_order_relaxed);
}

// A stamp that was made. Records come many to a millisecond, and forming a stamp costs as much as
// the rest of a short record: who makes many keeps the last one, whose text serves again.
struct QvStamp
{
    int64_t mark = 0; // the moment that it shows, in ms since 1970, and 1 more; 0: none
    size_t milliseconds_at = 0;
    size_t length = 0;
    wchar_t text[qv_stamp_limit] = {}; // terminated
};

// Writes the stamp that every record begins with, gives its length and the moment that it shows,
// in ms since 1970. All qv_stamp_limit characters of the buffer are written. 0 and no change of the
// buffer without a local time. The last stamp has a lock of the caller's.
size_t QvTimeStamp(wchar_t* buffer, QvStamp& last, int64_t& moment);

// A date of the log's names.
struct QvLogDate
{
    int year;
    int month; // 1 to 12
    int day;
};

// False if there is no local time.
bool QvLogToday(QvLogDate& today);

// The number that a day's next or latest file has: the highest of those that are there, one more if
// a new file is wanted and the day has any, 0 beyond 9999.
unsigned QvLogNumber(const wchar_t* folder, const QvLogDate& date, bool newFile);

// folder + "qvapp_YYYY-MM-DD" + "_(NNNN)" + ".log"; the number is left out if it is 0. The buffer
// has 1,024 characters.
void QvLogPath(wchar_t* path, const wchar_t* folder, const QvLogDate& date, unsigned number);

// Opens a log file for appending, making it if it is missing: each write is one atomic append, also
// between processes. The status of QV_OpenFile.
int QvOpenLogFile(const wchar_t* path, QvFile* file);

// Removes the files of a folder that are more than so many days old. Folders stay.
void QvRemoveOldLogs(const wchar_t* folder, uint32_t days);

// Finds the folder's name in the bytes of a "SetupOptions.xml" and copies it, terminated. False if
// it names none, or one that has no room.
bool QvFindAppFolder(const void* bytes, size_t size, wchar_t* name, size_t limit);
