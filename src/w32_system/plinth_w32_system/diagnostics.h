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

    // The library's argument checks end here. Formats file, line, expression and message into a
    // local buffer of 512 characters and makes no report of it. Always 1; the thread's last error
    // stays as it was.
    //
    // options: 0 in every call of the library. expression: wide, the condition that must not hold.
    // message: wide, may be null. sourceFile: narrow.
    QV_API int DiagAssertW(unsigned int options, const wchar_t* expression, const wchar_t* message,
                           const char* sourceFile, int line);

    // Reports a condition that did not hold: program, file, line, expression and message, the
    // thread's last error with the system's text for it, and with QV_DIAG_STACKTRACE the calls that
    // led here, the caller of this function first. docs/assertions.md shows a report.
    //
    // options: where this report goes, QV_DIAG_... bits; 0 takes those of QV_SetFailifOptions, at
    // first the log alone. In this order: debug string channel (with "*** " before it, at most
    // 1,023 characters), event log, log, message box. expression: narrow, the condition as text.
    // message: narrow, may be null. sourceFile: narrow.
    //
    // 0: carry on; also without a message box, and for Ignore. 1: the user chose Retry. Abort ends
    // the process by ExitProcess(-1), as does a message box that can't be shown; the entry in the
    // log has been made by then. The thread's last error stays as it was.
    //
    // File to message have 511 characters together, the report 4,095; what is beyond is cut, a
    // stack line always whole. Any thread; reports of several threads don't mix, and a message box
    // that is up holds up its own thread alone. A caller that the compiler ends in a jump
    // (return DiagAssertA(...), optimised) is missing from the stack lines.
    QV_API int DiagAssertA(unsigned int options, const char* expression, const char* message,
                           const char* sourceFile, int line);

    // --------------------------------------------------------------------------- trace output --

    // Makes one trace record: a time stamp, the formatted text with its tags replaced, CR LF. It
    // goes to the debug string channel and to the log, as the trace options say (at first: both).
    //
    // The format is that of the platform's wide printf family: %s takes a wide text, %hs a narrow
    // one. %e, %f and %g are the platform's too: Windows rounds a number in the middle away from
    // zero and writes exponents with three digits (0.5 with %.0f is "1", 1e10 with %g "1e+010"),
    // Linux rounds it to the even digit and writes two ("0", "1e+10"). Tags are matched after
    // formatting, exactly:
    //   |stime| local time HH:MM:SS        |thrid| id of the calling thread, decimal
    //   |absdt| ms since the last record   |adt00| to |adt07| eight stopwatches: ms since the last
    //   |wnddt| ms since the last record           record that expanded the same tag
    //           of the current window id   |appnm| file name of the process image
    //   |sfile| |nline| |srcid| source file, line, and both, of the last DiagOutputExW_hlp
    //   |wndid:N or |wndid:|thrid| gives the record its window id and stays in the text
    // The formatted text has at most 32,768 characters; a record that comes to 32,766 or more is
    // cut to 32,767 and ends in "...", CR, LF. The log applies its own limit on top
    // (CQvLogFile::SetMaxLogMessageLength).
    //
    // Records of several threads never interleave and reach all destinations in one order. Keeps
    // the thread's last error. Reports nothing: a failed write to the log is ignored. Allocates
    // nothing after the first record, but for a new window id.
    QV_API void DiagOutputExW(const wchar_t* format, ...);

    // Sets the source location that the records of this and all other threads show until the next
    // call. sourceFile: narrow, UTF-8, may be null (shown as "(null)"); at most 1,023 characters of
    // it are kept. Keeps the thread's last error.
    QV_API void DiagOutputExW_hlp(const char* sourceFile, int line);

    // One formatted text of at most 1,023 characters straight to the debug string channel: no
    // stamp, no tags, no options, no log. Keep the thread's last error. %s takes a narrow text in A
    // and a wide one in W. The format is that of the system's wsprintf, which knows no "ll", no '*'
    // and no floating point: these are shown as text and take no argument. I64 is 64 bits.
    QV_API void DiagOutputA(const char* format, ...);
    QV_API void DiagOutputW(const wchar_t* format, ...);

    // Traces the system's text for the thread's last error as one record; for an error without a
    // text, "Unknown error N (0xXXXXXXXX)". Keeps the thread's last error.
    QV_API void TraceLastOsErr(void);

    // The destinations of trace records, QV_DIAG_... bits, at first QV_DIAG_DEBUGGER and
    // QV_DIAG_LOGFILE. Set gives the former word; 0 is refused: nothing changes and the result is
    // 0. A word without either destination bit, such as QV_DIAG_MSGBOX, silences trace output.
    QV_API unsigned int QV_SetTraceOptions(unsigned int options);
    QV_API unsigned int QV_GetTraceOptions(void);

    // The destinations of assertion reports, at first QV_DIAG_LOGFILE. The same rule.
    QV_API unsigned int QV_SetFailifOptions(unsigned int options);

    // Writes the text to the log as it is: no stamp and no line end are added. The status of
    // CQvLogFile::Log.
    QV_API int QV_Log(const wchar_t* message);
}

// ---------------------------------------------------------------------------------------- log --

struct QvLogDate;

// The application log: one text file per process at a time, in a folder that all applications of
// the machine share, named qvapp_YYYY-MM-DD.log or qvapp_YYYY-MM-DD_(NNNN).log.
//
// All operations are static and work on one hidden instance, which the first of them opens. Texts
// are written as they come; a new instance writes one line of its own, the session header. The file
// is ANSI (the low byte of each character) or, if the main executable's resource
// "Unicode_Enabled" says so, UTF-16 with a byte order mark. Each message is one atomic append, also
// between processes. Any thread may call any operation; a failure of the log is reported nowhere
// but in the status.
class QV_API CQvLogFile
{
public:
    // Called by the load entry.
    static void Initialize();
    static void Uninitialize();

    // Writes the message, cut to the maximum message length. QV_ERR_NULLPTR: message is null.
    // QV_ERR_SYSTEM: the log is disabled, or could not be opened, or detail is below -1.
    // QV_ERR_WRITEFILE, QV_ERR_DISKFULL, and the status of a split that failed. Of a message that
    // was written in part the beginning is taken back, unless somebody has written after it. A file
    // that was removed is begun anew within a second of writing.
    static int Log(const wchar_t* message, int detail);

    // Closes the file; the next operation opens one again. Always QV_OK.
    static int CloseLog();

    // Turns the log on or off and gives the former state. Turning it off closes the file.
    static bool EnableLog(bool enable);
    static bool IsEnabled();

    // Whether optional detail traces are wanted: true while the log can be written.
    static bool Detail();

    // Stand in the interface and do nothing. Always QV_OK.
    static int ChangeLogDetail(int detail);
    static int SaveAs(const wchar_t* path, unsigned int flags);

    // Goes on in a new file; nothing is deleted. QV_OK, QV_ERR_SYSTEM, or the status of the open.
    static int ClearLog();

    // Shows the log's folder, or the log file, with the desktop's program; without a log file of
    // this process the last one of the folder. Always QV_OK.
    static int OpenLog(bool folder);

    // The path of the log file, null if there is none. Good until the instance goes: with other
    // threads that close or split the log, copy it at once.
    static const wchar_t* GetLogFilename();

    // The characters that a message may have, terminator counted: at first 512; -1 for no limit.
    // Values below -1 count as no limit.
    static void SetMaxLogMessageLength(int length);

    // "YYYY-MM-DD hh:mm:ss.mmm *vtq* " of local time into a buffer of at least 31 characters; left
    // as it was if there is no local time.
    static void curr_time_string(wchar_t* buffer);

    // Whether each instance gets a numbered file of its own, and setting it for the machine.
    // QV_ERR_SYSTEM: the registry could not be written; nothing changed.
    static bool IsPerSession();
    static int LogPerSession(bool perSession);

    // Stores the limits for the machine and in the running instance: MiB of one file (0 or -1: no
    // limit; a running instance takes 0 as it is) and the age in days of files that are kept.
    // QV_ERR_SYSTEM: the registry could not be written.
    static int SetProperties(int maxLogMBytes, int maxLogDays);

    // Stands in the interface: applications have no object of this class.
    CQvLogFile& operator=(const CQvLogFile& other);

    // The state behind the operations, which alone change it: the lock that guards the instance,
    // whether the log is turned on, the form of the files, the limit of a message, the instance.
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

// Measures how long a block takes: put one on the stack at the head of the block. When it goes, one
// trace record says "NAME took N ms", whatever the log's detail setting is.
//
// name: copied, up to 1,023 characters. With a longer one, with null, or without memory for it the
// object makes no record. level: stored with the object, without further effect. A measurement
// makes one record: a copy runs on the same clock and makes none, and an object that is assigned to
// gives up its own record with its own start. One thread at a time.
class QV_API CQvTraceExecutionTime
{
public:
    // Starts a measurement, which the destructor reports; see above for copies.
    CQvTraceExecutionTime(const wchar_t* name, int level);
    CQvTraceExecutionTime(const CQvTraceExecutionTime& other);
    CQvTraceExecutionTime& operator=(const CQvTraceExecutionTime& other);
    virtual ~CQvTraceExecutionTime();

    // Milliseconds since construction, right across the wrap of the 32-bit tick (49.7 days), within
    // one round of it. Doesn't stop the measurement.
    int GetTimeToNowMs();

private:
    uint64_t m_uStartTime; // timeGetTime at construction
    int32_t m_iLevel;
    wchar_t* m_pwsName; // owned; null: makes no record
};

#endif
