// Assertions, trace records, the log, and the trace of execution times.
#ifndef PLINTH_W32_SYSTEM_DIAGNOSTICS_H
#define PLINTH_W32_SYSTEM_DIAGNOSTICS_H

#include <cstddef>
#include <cstdint>

#include "base.h"
#include "files.h"

extern "C"
{
    // ----------------------------------------------------------------------------- assertions --

    // The library's argument checks call this. It formats file, line, expression and message into a
    // local buffer of 512 characters, but reports nothing. Always 1; keeps the thread's last error.
    //
    // options: 0 in every call of the library. expression: wide, the condition that must
    // not be true. message: wide, may be null. sourceFile: narrow.
    QV_API int DiagAssertW(unsigned int options, const wchar_t* expression, const wchar_t* message,
                           const char* sourceFile, int line);

    // Reports a condition that failed: program, file, line, expression and message, the thread's
    // last error with the system's text for it, and with QV_DIAG_STACKTRACE the chain of callers,
    // beginning with the caller of this function. docs/assertions.md shows a report.
    //
    // options: the destinations of this report, QV_DIAG_... bits; 0 uses those of
    // QV_SetFailifOptions, at first only the log. In this order: debug string channel (with "*** "
    // before it, at most 1,023 characters), event log, log, message box. expression: narrow, the
    // condition as text. message: narrow, may be null. sourceFile: narrow.
    //
    // 0: continue; also without a message box, and for Ignore. 1: the user chose Retry. Abort ends
    // the process by ExitProcess(-1), as does a message box that can't be shown; the log entry has
    // been written by then. Keeps the thread's last error.
    //
    // File to message have at most 511 characters together, the report 4,095; the rest is cut, a
    // stack line always as a whole. Any thread; reports of several threads don't mix, and an open
    // message box blocks only its own thread. A caller whose call was optimised into a jump (return
    // DiagAssertA(...)) is missing from the stack lines.
    QV_API int DiagAssertA(unsigned int options, const char* expression, const char* message,
                           const char* sourceFile, int line);

    // --------------------------------------------------------------------------- trace output --

    // Makes one trace record: a time stamp, the formatted text with its tags replaced, CR LF. The
    // trace options decide whether it is sent to the debug string channel, to the log, or (at
    // first) to both.
    //
    // The format is that of the platform's wide printf family: %s takes a wide text, %hs a narrow
    // one. %e, %f and %g are the platform's too: Windows rounds a number in the middle away from
    // zero and writes exponents with three digits (0.5 with %.0f is "1", 1e10 with %g "1e+010"),
    // Linux rounds it to the even digit and writes two ("0", "1e+10"). Tags are replaced after
    // formatting and must match exactly:
    //   |stime| local time HH:MM:SS        |thrid| id of the calling thread, decimal
    //   |absdt| ms since the last record   |adt00| to |adt07| eight stopwatches: ms since the last
    //   |wnddt| ms since the last record           record that expanded the same tag
    //           of the current window id   |appnm| file name of the process image
    //   |sfile| |nline| |srcid| source file, line, and both, of the last DiagOutputExW_hlp
    //   |wndid:N or |wndid:|thrid| sets the record's window id and stays in the text
    // The formatted text has at most 32,768 characters; a record of 32,766 or more is cut to 32,767
    // and ends in "...", CR, LF. The log has its own, additional limit
    // (CQvLogFile::SetMaxLogMessageLength).
    //
    // Records of several threads never mix and reach all destinations in one order. Keeps the
    // thread's last error. Reports no failure: a failed write to the log is ignored. Allocates
    // memory only for the first record and for new window ids.
    QV_API void DiagOutputExW(const wchar_t* format, ...);

    // Sets the source location that records of all threads show until the next call. sourceFile:
    // narrow, UTF-8, may be null (shown as "(null)"); at most 1,023 characters of it are kept.
    // Keeps the thread's last error.
    QV_API void DiagOutputExW_hlp(const char* sourceFile, int line);

    // Sends one formatted text of at most 1,023 characters directly to the debug string channel: no
    // stamp, no tags, no options, no log. Both keep the thread's last error. %s takes a narrow text
    // in A and a wide one in W. The format is that of the system's wsprintf, without "ll", '*' and
    // floating point: these are shown as text and take no argument. I64 is 64 bits.
    QV_API void DiagOutputA(const char* format, ...);
    QV_API void DiagOutputW(const wchar_t* format, ...);

    // Traces the system's text for the thread's last error as one record; for an error without a
    // text, "Unknown error N (0xXXXXXXXX)". Keeps the thread's last error.
    QV_API void TraceLastOsErr(void);

    // The destinations of trace records, QV_DIAG_... bits, at first QV_DIAG_DEBUGGER and
    // QV_DIAG_LOGFILE. Set returns the former word; 0 is refused: nothing changes and the result is
    // 0. A word without either destination bit, such as QV_DIAG_MSGBOX, turns trace output off.
    QV_API unsigned int QV_SetTraceOptions(unsigned int options);
    QV_API unsigned int QV_GetTraceOptions(void);

    // The destinations of assertion reports, at first QV_DIAG_LOGFILE. 0 is refused in the same
    // way.
    QV_API unsigned int QV_SetFailifOptions(unsigned int options);

    // Writes the text to the log unchanged: without a stamp or a line end. The status of
    // CQvLogFile::Log.
    QV_API int QV_Log(const wchar_t* message);
}

// ---------------------------------------------------------------------------------------- log --

struct QvLogDate;

// The application log: one text file per process at a time, in a folder that all applications of
// the machine share, named qvapp_YYYY-MM-DD.log or qvapp_YYYY-MM-DD_(NNNN).log.
//
// All operations are static and use one hidden instance, which the first operation opens. Texts are
// written unchanged; a new instance writes one line of its own, the session header. The file is
// ANSI (the low byte of each character) or, if the main executable's resource "Unicode_Enabled"
// requests it, UTF-16 with a byte order mark. Each message is one atomic append, also between
// processes. Any thread may call any operation; a failure of the log is reported only in the
// status.
class QV_API CQvLogFile
{
public:
    // Called by the load entry.
    static void Initialize();
    static void Uninitialize();

    // Writes the message, cut to the maximum message length. QV_ERR_NULLPTR: message is null.
    // QV_ERR_SYSTEM: the log is disabled, or could not be opened, or detail is below -1.
    // QV_ERR_WRITEFILE, QV_ERR_DISKFULL, and the status of a failed split. If only a part of a
    // message could be written, that part is removed again, unless something else has been written
    // after it. A file that was removed is created again within a second of writing.
    static int Log(const wchar_t* message, int detail);

    // Closes the file; the next operation opens a file again. Always QV_OK.
    static int CloseLog();

    // Turns the log on or off and returns the former state. Turning it off closes the file.
    static bool EnableLog(bool enable);
    static bool IsEnabled();

    // Whether optional detail traces are wanted: true while the log can be written.
    static bool Detail();

    // Part of the interface, but have no effect. Always QV_OK.
    static int ChangeLogDetail(int detail);
    static int SaveAs(const wchar_t* path, unsigned int flags);

    // Continues in a new file; nothing is deleted. QV_OK, QV_ERR_SYSTEM, or the status of the open.
    static int ClearLog();

    // Shows the log's folder, or the log file, with the desktop's program; if this process has no
    // log file, the last one in the folder. Always QV_OK.
    static int OpenLog(bool folder);

    // The path of the log file, null if there is none. Valid until the instance is destroyed: if
    // other threads close or split the log, copy it at once.
    static const wchar_t* GetLogFilename();

    // The maximal length of a message in characters, including the terminator: at first 512; -1,
    // and all values below, for no limit.
    static void SetMaxLogMessageLength(int length);

    // Writes "YYYY-MM-DD hh:mm:ss.mmm *vtq* " of local time into a buffer of at least 31
    // characters; without a local time the buffer is unchanged.
    static void curr_time_string(wchar_t* buffer);

    // Whether each instance has a numbered file of its own, and setting this for the machine.
    // QV_ERR_SYSTEM: the registry could not be written; nothing changed.
    static bool IsPerSession();
    static int LogPerSession(bool perSession);

    // Stores the limits for the machine and in the running instance: MiB of one file (0 or -1: no
    // limit; a running instance takes 0 as it is) and the age in days of files that are kept.
    // QV_ERR_SYSTEM: the registry could not be written.
    static int SetProperties(int maxLogMBytes, int maxLogDays);

    // Part of the interface only: applications have no object of this class.
    CQvLogFile& operator=(const CQvLogFile& other);

    // The state of the operations, which only they change: the lock that guards the instance,
    // whether the log is turned on, the encoding of the files, the limit of a message, the
    // instance.
    static pthread_mutexCS_t m_classLock;
    static bool m_bLogEnabled;
    static bool m_bUnicodeEnabled;
    static int32_t m_iMaxLogMessageLength;
    static CQvLogFile* m_pSingleton;

private:
    CQvLogFile();
    ~CQvLogFile();
    CQvLogFile(const CQvLogFile&) = delete;

    static CQvLogFile* getInstance(bool create);
    static CQvLogFile* LockedInstance();
    static void DropLockedInstance();
    void ReadSettings();
    bool OpenForDate(const wchar_t* folder, const QvLogDate& date, unsigned& number);
    bool OpenAndBegin(const wchar_t* folder, const QvLogDate& date);
    int WriteSessionHeader(uint64_t deadline);
    static int WriteAnew(const wchar_t* message, size_t length);
    int WriteLocked(const wchar_t* message, size_t length);
    friend int QvLog(const wchar_t* message, int detail, size_t length, int64_t second);
    static void wtoc(char* target, const wchar_t* source);
    static int SplitFile(CQvLogFile* instance);
    static int GetLogFileDir(wchar_t* folder);
    static int ReadLogFileLocation(wchar_t* folder, const wchar_t* xmlPath);
    static bool GetUnicodeEnabled();

    QvFile m_hFile;
    bool m_bOpen;
    int32_t m_iDetail;
    uint32_t m_uMaxLogMBytes;
    uint32_t m_uMaxLogDays;
    wchar_t m_wsLogFilename[1024];
    uint32_t m_uBytesWritten;
    bool m_bPerSession;
};

// Measures how long a block takes: put one on the stack at the start of the block. Its destructor
// makes one trace record "NAME took N ms", whatever the log's detail setting is.
//
// name: copied, up to 1,023 characters. With a longer name, with null, or without memory for it the
// object makes no record. level: stored with the object, without further effect. Each measurement
// makes one record: a copy has the same start time and makes none, and an object that is assigned
// to loses its own start time and its record. Not for several threads at the same time.
class QV_API CQvTraceExecutionTime
{
public:
    // Starts a measurement, which the destructor reports; see above for copies.
    CQvTraceExecutionTime(const wchar_t* name, int level);
    CQvTraceExecutionTime(const CQvTraceExecutionTime& other);
    CQvTraceExecutionTime& operator=(const CQvTraceExecutionTime& other);
    virtual ~CQvTraceExecutionTime();

    // Milliseconds since construction. The result is right also after the 32-bit tick has wrapped
    // (every 49.7 days), but only once. Doesn't stop the measurement.
    int GetTimeToNowMs();

private:
    uint64_t m_uStartTime; // timeGetTime at construction
    int32_t m_iLevel;
    wchar_t* m_pwsName; // owned; null: makes no record
};

#endif
