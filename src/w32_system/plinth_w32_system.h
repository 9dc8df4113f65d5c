// plinth_w32_system: the system layer of a family of desktop applications.
//
// One shared library through which the modules of an application reach files, directories, clocks
// and text, and through which each of them logs and traces. A first program:
//
//     #include <plinth_w32_system.h>
//
//     int main()
//     {
//         QV_Log(L"application started\r\n");
//         DiagOutputExW_hlp("main", __LINE__);
//         DiagOutputExW(L"|wndid:1| |thrid| %d files, |adt00| ms since the last", 3);
//     }
//
// Conventions that hold everywhere:
//
// - Status: a plain int result, QV_OK (0) for success and a negative QV_ERR_... number otherwise.
//   Results travel in out-parameters. Nothing is thrown across the boundary for a failed operation;
//   only containers of the standard library may let std::bad_alloc pass. The system's own error
//   stays readable through GetLastError.
// - Text is 16-bit wchar_t (on Linux: compiled with -fshort-wchar), zero-terminated, unless a name
//   ends in A or the parameter is a const char*. Sizes of text buffers count characters, terminator
//   included, unless said otherwise.
// - Paths take both '\' and '/' as separators. On Linux C: is the root directory.
// - Any thread may call any function, unless its description says otherwise. Options and cached
//   answers are plain words without a lock.
// - A file, search or view belongs to the caller that got it, until the matching close call.
#ifndef PLINTH_W32_SYSTEM_H
#define PLINTH_W32_SYSTEM_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <list>
#include <map>
#include <vector>

#include <windows.h>

#include <rpc.h>

#ifndef _WINSOCKAPI_ // <windows.h> brings the socket records, but for WIN32_LEAN_AND_MEAN
#include <winsock.h>
#endif

#include <plinth_w32_pthreadVC.h>

static_assert(sizeof(wchar_t) == 2,
              "plinth_w32_system uses a 16-bit wchar_t: compile with -fshort-wchar. Linking to the "
              "CMake target plinth::w32_system, or the flags of its pkg-config file, adds it.");

// Marks what the library exports.
#if defined(_WIN32)
#if defined(PLINTH_W32_SYSTEM_BUILD)
#define QV_API __declspec(dllexport)
#else
#define QV_API __declspec(dllimport)
#endif
#else
#define QV_API __attribute__((visibility("default")))
#endif

// ----------------------------------------------------------------------------- status numbers --

// What the operations give: 0 for success, a negative number for a failure.
enum QvStatus : int
{
    QV_OK = 0,                // success
    QV_ERR_FAILED = -1,       // generic failure, with no more exact number
    QV_ERR_BADARG = -2,       // a request that the operation does not carry out
    QV_ERR_NOMEMORY = -3,     // a byte array could not be reallocated
    QV_ERR_NULLPTR = -4,      // a required pointer is null, or an argument lies outside its range
    QV_ERR_NOSYMBOL = -5,     // a system function is missing from its module
    QV_ERR_NOFILE = -7,       // a module file could not be opened for reading
    QV_ERR_TRUNCATED = -8,    // a part of the data was stored, the rest dropped
    QV_ERR_SYSTEM = -9,       // a system call or an allocation failed, or the object is not there
    QV_ERR_NOTIMPL = -13,     // not provided on this platform
    QV_ERR_OPENFILE = -1000,  // the file could not be opened or created
    QV_ERR_CLOSEFILE = -1001, // closing a file failed
    QV_ERR_READFILE = -1002,  // reading failed
    QV_ERR_WRITEFILE = -1003, // writing failed, or an asynchronous block was written short
    QV_ERR_SEEKFILE = -1004,  // the position could not be set
    QV_ERR_FILEPOSITION = -1005, // the position could not be read
    QV_ERR_LOCKFILE = -1007,     // the range could not be locked
    QV_ERR_UNLOCKFILE = -1008,   // the range could not be unlocked
    QV_ERR_SETEOF = -1009,       // the file could not be cut or extended
    QV_ERR_TOUCHFILE = -1010,    // the times could not be set
    QV_ERR_FILETIMES = -1011,    // the times could not be read
    QV_ERR_FILESIZE = -1012,     // the size could not be read
    QV_ERR_ACCESS = -1013,       // the path does not exist (QV_AccessFile), or access was denied
    QV_ERR_CREATEDIR = -1014,    // the directory could not be made
    QV_ERR_REMOVEDIR = -1015,    // the directory, or something in it, could not be removed
    QV_ERR_COPYFILE = -1016,     // copying failed
    QV_ERR_MOVEFILE = -1017,     // moving failed
    QV_ERR_REMOVEFILE = -1019,   // removing failed
    QV_ERR_GETCURDIR = -1020,    // the current directory could not be told
    QV_ERR_SETCURDIR = -1021,    // the current directory could not be set
    QV_ERR_DISKSPACE = -1022,    // the volume's space could not be told
    QV_ERR_TEMPPATH = -1023,     // there is no temporary path, or no room for it
    QV_ERR_SEARCHPATH = -1024,   // the file was not found in the path
    QV_ERR_FINDFIRST = -1025,    // a search could not begin, or nothing matches
    QV_ERR_FINDNEXT = -1026,     // no further entry: the normal end of a search
    QV_ERR_FINDCLOSE = -1027,    // a search could not be closed
    QV_ERR_DRIVESTRINGS = -1028, // the drives could not be told
    QV_ERR_VOLUMEINFO = -1029,   // the volume could not be asked
    QV_ERR_ACCESSRIGHTS = -1030, // the account or the access list can't be reached
    QV_ERR_SHARING = -1031,      // a move met a sharing violation
    QV_ERR_READONLY = -1101,     // write access was asked of a read-only file
    QV_ERR_BUFFERSMALL = -1102,  // the caller's buffer is too small
    QV_ERR_INPROGRESS = -1103,   // callback only: a block is done and more remains
    QV_ERR_CANCELLED = -1104,    // callback only: the caller's word stopped the copy
    QV_ERR_FILEEXISTS = -1106,   // the target exists and the caller forbade overwriting
    QV_ERR_DISKFULL = -1107,     // a write met a full disk
};

// ------------------------------------------------------------------------------------ options --

// Diagnostic option bits. Trace records heed QV_DIAG_DEBUGGER and QV_DIAG_LOGFILE.
enum QvDiagOption : unsigned
{
    QV_DIAG_MSGBOX = 0x01,     // assertion reports: show a message box
    QV_DIAG_DEBUGGER = 0x02,   // send to the debug string channel
    QV_DIAG_STACKTRACE = 0x04, // assertion reports: add a stack walk
    QV_DIAG_EVENTLOG = 0x08,   // assertion reports: write to the event log
    QV_DIAG_LOGFILE = 0x10,    // write to the log file
};

// How QV_OpenFile opens a file.
enum QvOpenFlag : unsigned
{
    QV_OPEN_READ = 0x01,   // for reading
    QV_OPEN_WRITE = 0x02,  // for writing
    QV_OPEN_CREATE = 0x04, // create the file; fails if it exists, unless QV_OPEN_ALWAYS is set too
    QV_OPEN_ALWAYS = 0x08, // with QV_OPEN_CREATE: replace an existing file; alone: open or create
    QV_OPEN_TRUNCATE = 0x10, // the file must exist and is cut; only without the two above
};

// What others may open a file for meanwhile.
enum QvShareFlag : unsigned
{
    QV_SHARE_READ = 0x01,  // reading
    QV_SHARE_WRITE = 0x02, // writing
};

// Who may use a file that is created.
enum QvSecurity : int
{
    QV_SECURITY_DEFAULT = -1,       // whom the folder and the system's settings let
    QV_SECURITY_OWNER_ONLY = 0x700, // the current user alone gets all rights (mode 0600 on Linux)
};

// What a mapping of a file is for.
enum QvMapMode : unsigned
{
    QV_MAP_READ = 1,  // reading
    QV_MAP_WRITE = 2, // reading and writing
    QV_MAP_COPY = 3,  // private: writes stay in memory
};

// Precision modes of QV_Sleep and of the timers.
enum QvPrecision : int
{
    QV_PRECISION_SLEEP = 1,        // system sleep, rounded to milliseconds
    QV_PRECISION_SLEEP_SPIN = 2,   // system sleep in whole tens of milliseconds, then spin
    QV_PRECISION_SPIN = 3,         // spin
    QV_PRECISION_MM_20 = 4,        // sleeps as 1
    QV_PRECISION_MM_10 = 5,        // sleeps as 2
    QV_PRECISION_MM_1 = 6,         // sleeps as 3
    QV_PRECISION_MM_1_ALIGNED = 7, // sleeps as 3
    QV_PRECISION_LATE_SPIN = 8,    // system sleep for all but the last 20 ms, then spin
    QV_PRECISION_POSTED = 9,       // sleeps as 1
};

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
    // one. Tags are matched after formatting, exactly:
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
    // and a wide one in W.
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

    // --------------------------------------------------------------------------------- clocks --

    // The library's clock in milliseconds, from the system's performance counter. Only differences
    // mean something. Takes no lock, allocates nothing, any thread.
    QV_API double QV_GetTimeCounter(void);

    // The length of one step of that clock in milliseconds; 0.0 if the system can't tell.
    QV_API double QV_GetTimeCounterPrecision(void);

    // Waits for a time in milliseconds in a precision mode (QvPrecision). 0, or QV_ERR_NULLPTR for
    // an unknown mode, without waiting. A negative time counts as 0, and a time that the system's
    // sleep can't hold as the longest one that it can. Spin modes keep a processor busy.
    QV_API int QV_Sleep(double milliseconds, int precision);

    // The cycle counter family. On 64-bit platforms it offers no counter: available and initialize
    // give 0, and the count is 0.
    QV_API int rdtsc_initialize(void);
    QV_API int rdtsc_available(void);
    QV_API long long rdtsc_count(void);

    // Calibrates the counter against the performance counter in samples of so many milliseconds, at
    // least two, spinning. frequency (out) and deviation (in: when to stop, out: reached) are in
    // counts per second. 1, or 0 if there is no performance counter or a pointer is null.
    QV_API int rdtsc_cpu_freq(double* frequency, double* deviation, unsigned int milliseconds,
                              unsigned short maxPasses);

    // The seconds that a count stands for. The first call calibrates for two seconds or more; with
    // no counter the frequency is 0, and the result an infinity or not a number.
    QV_API double rdtsc_count2seconds(long long count);

    // --------------------------------------------------------------------------------- timers --
    //
    // A timer calls a function at a fixed interval, a number of times or until it is told to stop.
    // The precision mode decides what carries it (QvPrecision; docs/timers.md compares them):
    //
    //   1, 2, 3      a thread of its own, which waits between the calls as QV_Sleep does
    //   4, 5, 6, 7   the system's multimedia timer, asked for a resolution of 20, 10, 1, 1 ms and
    //                for the whole milliseconds of the interval; 7 spins up to the next multiple of
    //                the interval if it comes early by less than half of one
    //   9            the message timer of the calling thread: calls come out of its message
    //                dispatch, at 10 ms or more, and it must pump messages until the timer has
    //                ended
    //
    // An interval below 1 ms makes the mode 3, unless it is 9. A timer that the system refuses to
    // carry gets a thread of its own, in the same mode.
    //
    // Timers end by themselves, at a tick: when the calls are used up, when the callback returns 0,
    // or at the first tick after QV_KillTimerAsync. Nothing stops a callback that runs. All timers
    // must have ended before the library is unloaded (kill them, then wait for each); when the
    // process ends they may be left running.

    // Called at each tick with the data of its timer: not 0 to go on, 0 to end the timer. It must
    // not throw. It may set timers and kill any, also its own; all multimedia timers share one
    // thread, so a slow callback delays the others, and one must not wait for another.
    typedef int (*QvTimerCallback)(void* data);

    // What carries a timer.
    enum QvTimerKind : int32_t
    {
        QV_TIMER_THREAD = 1,     // a thread of its own
        QV_TIMER_MULTIMEDIA = 2, // the system's multimedia timer
        QV_TIMER_POSTED = 3,     // the message timer of the thread that set it
    };

    // One timer. The library makes and frees it, and alone writes to it.
    struct QvTimerRecord
    {
        int32_t iKind;               // QvTimerKind
        uint64_t uSystemId;          // of the system's timer, kinds 2 and 3
        pthread_t thread;            // kind 1
        void* pData;                 // handed to the callback
        int64_t i64IntervalNs;       // nanoseconds
        int32_t iCallsLeft;          // 0: no limit; kind 1 doesn't count here
        double dStartTime;           // the library's clock when the timer was set, ms
        double dLastTime;            // the same, and in mode 7 that of the last call
        int32_t iPrecision;          // the mode in force
        int32_t iCatchUpMode;        // as it was given
        QvTimerCallback pfnCallback; // as it was given
        HANDLE hEvent;               // kind 2: signalled when the timer has ended; may be null
        unsigned char bStop;         // the timer has been told to stop
        uint64_t uId;                // what QV_SetThreadedTimer gave
    };

    // What QV_GetTimerInfo gives.
    struct QvTimerInfo
    {
        double dStartTime;    // the library's clock when the timer was set, ms
        int32_t iPrecision;   // the mode in force, which may differ from the one asked for
        int32_t iCatchUpMode; // as it was given
        int32_t iKind; // 2 thread, 3 multimedia, 4 message timer (QvTimerKind plus 1); 0 unknown
    };

    // Sets a timer and gives its id, which fits into 32 bits; 0 on failure: no callback, numCalls
    // negative, an unknown mode (also 8), or no thread could be made (traced). The first call comes
    // one interval from now.
    //
    // milliseconds: the interval, also fractions; negative counts as 0, which calls without a
    // pause. numCalls: 0 for no limit. iCatchUpMode, for a timer thread that has overrun: with 1 it
    // drops the ticks that it missed, uncounted, with any other value it makes the calls for them
    // at once.
    QV_API uintptr_t QV_SetThreadedTimer(QvTimerCallback callback, void* data, double milliseconds,
                                         int numCalls, int precision, int iCatchUpMode);

    // The same with precision 9 and catch-up mode 1.
    QV_API uintptr_t QV_SetPostedTimer(QvTimerCallback callback, void* data, double milliseconds,
                                       int numCalls);

    // Tells a timer to end at its next tick, and returns; the callback may run once more. QV_OK, or
    // QV_ERR_NULLPTR if no such timer lives.
    QV_API int QV_KillTimerAsync(unsigned int id);

    // Waits until the timer has ended, however long that takes; doesn't stop it. Any number of
    // threads may wait. After it the callback doesn't run any more; a timer's own thread is gone,
    // or on its last steps if the timer had ended before the call.
    //
    // QV_OK, also at once for a timer that has ended before. QV_ERR_NULLPTR: an id that was never
    // given out, or of a message timer that has ended. QV_ERR_BADARG: a message timer, or the
    // calling thread is in the timer's own callback. QV_OK at once, with a trace, for a multimedia
    // timer for which the system had no event.
    QV_API int QV_WaitForTimer(unsigned int id);

    // The record of a timer, for QV_GetTimerInfo; null if no such timer lives. With 0, the record
    // of the timer whose callback the calling thread runs. It is freed as the timer ends: use it
    // within the timer's callback, or while nothing can end the timer.
    QV_API const struct QvTimerRecord* QV_GetTimerRecord(unsigned int id);

    // Reads the settings of a timer. QV_OK, or QV_ERR_NULLPTR: a pointer is null (nothing is
    // written), or the kind is unknown (iKind is 0, the rest is filled in). Takes no lock: see
    // QV_GetTimerRecord.
    QV_API int QV_GetTimerInfo(const struct QvTimerRecord* timer, struct QvTimerInfo* info);

    // ------------------------------------------------------------------------------- platform --

    // How the library was built.
    QV_API bool QV_Is64Bit(void);
    QV_API bool QV_Is32Bit(void);
    QV_API bool QV_Is64BitWindows(void);

    // What stands behind and before the base name of a module file: ".dll" and the empty text.
    // Constant texts.
    QV_API const wchar_t* QV_GetDllExt(void);
    QV_API const wchar_t* QV_GetDllPref(void);

    // The path of a module's file into a buffer of size characters; null for the main executable.
    // Always QV_OK; the buffer holds what the system put there.
    QV_API int QV_GetModuleFileName(HMODULE module, wchar_t* buffer, unsigned int size);

    // --------------------------------------------------------------------------- text helpers --

    // Thin names over the runtime library. Lengths are cut to 32 bits.
    QV_API unsigned int wcslen32(const wchar_t* text);
    QV_API unsigned int strlen32(const char* text);

    // Comparison without regard to case, by the runtime's folding and not by the user's locale.
    QV_API int QV_stricmp(const char* a, const char* b);
    QV_API int QV_strnicmp(const char* a, const char* b, unsigned int count);
    QV_API int QV_wcsicmp(const wchar_t* a, const wchar_t* b);
    QV_API int QV_wcsnicmp(const wchar_t* a, const wchar_t* b, unsigned int count);

    // Numbers. A radix is 2 to 36; the buffer of QV_itow holds up to 33 characters.
    QV_API wchar_t* QV_itow(int value, wchar_t* buffer, int radix);
    QV_API int QV_wtoi(const wchar_t* text);

    // Formats without a bound on the buffer: the caller keeps to it. The number of characters, or
    // negative on failure.
    QV_API int QV_swprintf(wchar_t* buffer, const wchar_t* format, ...);

    // Conversion by the active code page (UTF-8 on Linux). length: units, or -1 for all up to and
    // with the terminator. outSize 0 asks for the size. The units written, or 0 on failure.
    QV_API int QV_WChar2Char(const wchar_t* text, int length, char* out, int outSize);
    QV_API int QV_Char2WChar(const char* text, int length, wchar_t* out, int outSize);

    // Doubles as text for people. At most decimals decimals are shown, rounded as the runtime
    // library rounds; decimals that are zero stay off. A number that would show as a bare zero gets
    // the decimals that its first digit needs instead (0.0004 at 2 decimals is "0.0004"); only
    // below 0.00001 it is "0". Not-a-number and infinities are the runtime library's words.
    //
    // size: of text, in characters, terminator included. format: true for the user's decimal
    // separator, negative form and leading zero, never grouped; false for a dot and a minus sign.
    // Formatted, trim false keeps decimals that are zero, and minDecimals, if trim is true, is how
    // many of them stay. QV_DoubleToString trims, formats, and has no minDecimals.
    //
    // False: no text or no size; decimals is negative; or the number does not fit, and text holds
    // as much of its unformatted digits as does. If only the user's form doesn't fit, text holds
    // the number with a dot, and the result is true. Text is terminated whenever size is at least 1
    // and anything is written.
    QV_API bool QV_DoubleToStringEx(double value, int decimals, wchar_t* text, int size, bool trim,
                                    bool format, int minDecimals);
    QV_API bool QV_DoubleToString(double value, int decimals, wchar_t* text, int size);

    // Reads the number at the beginning of a text, with the user's decimal separator or a dot, as
    // far as it goes: "1,5 kg" is 1.5 with a decimal comma and 1 without. False, and *value as it
    // was, if there is none, or if an argument is null.
    QV_API bool QV_StringToDouble(const wchar_t* text, double* value);

    // Whether a text is digits with at most one '.' or ',', and signs before the first digit. Knows
    // nothing of locales and exponents. Null gives false.
    QV_API bool QV_IsStringDouble(const wchar_t* text);

    // The runtime library's wcstod; end may be null.
    QV_API double QV_wstrtod(const wchar_t* text, wchar_t** end);

    // Turns each "ll" of a format text into "I64", in place; the buffer has room for one character
    // more for each. The format is not parsed, so that "hello" becomes "heI64o". True if the format
    // then has an "I64" in it; null gives false.
    QV_API bool QV_Conv64FmtSpecA(char* format);
    QV_API bool QV_Conv64FmtSpecW(wchar_t* format);

    // ------------------------------------------------------------------ locale date and time --

    // All follow the user's locale at the time of the call: the system's settings; on Linux LC_ALL,
    // LC_TIME or LANG of the environment. Sizes are in characters, terminator included.

    // Local time to the automation layer's date: days since 30 December 1899, in UTC, by the zone's
    // rules for that moment. A reading that comes twice, as clocks are set back, is the earlier
    // one. tm_wday, tm_yday and tm_isdst don't matter. QV_ERR_NULLPTR; QV_ERR_SYSTEM: no such time,
    // or one before 1601 or after 9999.
    QV_API int QV_TmToVariantTime(const struct tm* pTm, double* pVariantTime);

    // The system's pictures of the short date and of the time ("dd.MM.yyyy", "HH:mm:ss"). Either
    // buffer may be null. Always QV_OK: a buffer that is too small gets the empty text.
    QV_API int QV_GetLocaleShortDateTimeFormat(wchar_t* pDate, unsigned nDate, wchar_t* pTime,
                                               unsigned nTime);

    // strftime formats with the user's order and separators ("%m/%d/%Y", "%I:%M:%S %p"). Either
    // buffer may be null. Always QV_OK: a text that is too long is cut, and terminated.
    QV_API int QV_GetLocaleDateTimeFormat(wchar_t* pDate, unsigned nDate, wchar_t* pTime,
                                          unsigned nTime);

    // A mask of both for people, "MM/DD/YYYY hh:MM:SS pm"; "HH" has 24 hours, "hh" 12. The whole
    // keeps within n characters: it is cut, and terminated. Null is skipped. Always QV_OK.
    QV_API int QV_GetLocaleUserDateTimeFormat(wchar_t* pText, unsigned n);

    // A time as date and time of day in the user's form. Either buffer may be null. QV_ERR_SYSTEM:
    // pTime is null or no such time, or a buffer is too small; a date that fails leaves the time
    // alone. A size of 0 writes nothing and is no failure.
    QV_API int QV_FormatLocaleDateTime(const SYSTEMTIME* pTime, wchar_t* pDate, int nDate,
                                       wchar_t* pTimeText, int nTimeText);
}

// -------------------------------------------------------------------------------------- files --

// An open file: the system's own handle, so that a QvFile may be given to the system and back.
typedef HANDLE QvFile;

// A running directory search: the system's search handle.
typedef HANDLE QvFindHandle;

// The callbacks of asynchronous transfers. Such a transfer moves 4,096 bytes at a time and calls
// back after each block:
//
// - QV_ERR_INPROGRESS: a block is done, another callback will come, unless QV_CancelAsyncIO comes
//   first. Any other status is the last callback, but for the two failures of a copy that
//   QV_CopyFile names.
// - QV_OK: the transfer has ended. For a read or copy that may be before the size that was asked
//   for or last seen: at the end of the file.
// - a failure: that of the block; what was moved before it stays moved.
//
// A callback runs on a thread of the library, which does nothing else meanwhile. It has to be
// short, must not throw (the process ends then), and must neither start or cancel an asynchronous
// transfer nor wait for a thread that does: from within a callback these give QV_ERR_SYSTEM. One
// transfer's callbacks come one after the other, those of several transfers at the same time.

// Completion of an asynchronous read or write: status, bytes moved so far, the caller's context.
typedef void (*QvIoCompletion)(int status, uint64_t done, void* context);

// Completion of an asynchronous copy: status, the source's size, bytes copied so far, context.
typedef void (*QvCopyCompletion)(int status, uint64_t size, uint64_t copied, void* context);

// Makes a transfer asynchronous. Read during the call and not kept. completion may be null.
struct QvAsyncIo
{
    uint64_t offset;           // position in the file of the first byte
    void* context;             // handed to the callback
    QvIoCompletion completion; // called after each block
};

// One directory entry. The caller sets the three pointers before the call, null to skip a time.
struct QvFindData
{
    struct tm* creationTime; // in: where to put it; local time
    struct tm* accessTime;   // the same
    struct tm* writeTime;    // the same
    uint64_t size;           // bytes
    wchar_t name[260];       // without the directory
    bool isDirectory;        // not a file
};

// A volume. The caller sets name, nameSize, extra and extraSize.
struct QvVolumeInfo
{
    uint32_t type;      // out: 0 unknown, 1 no root directory, 2 removable, 3 fixed, 4 remote,
                        // 5 CD-ROM, 6 RAM disk
    wchar_t* name;      // buffer for the display name, may be null
    uint32_t nameSize;  // its size in characters, not 0 if name is given
    wchar_t* extra;     // a second buffer, may be null; gets an empty text
    uint32_t extraSize; // its size in characters
    uint32_t flags;     // out: 0
};

extern "C"
{
    // Opens a file; *file is the caller's until QV_CloseFile. access: QvOpenFlag bits, share:
    // QvShareFlag bits (0: nobody else may open it), security: a QvSecurity value.
    // QV_ERR_NULLPTR: file is null. QV_ERR_BADARG: another security value. QV_ERR_SYSTEM: the
    // owner-only descriptor could not be made. QV_ERR_OPENFILE: the file could not be opened.
    // On failure *file stays as it was.
    QV_API int QV_OpenFile(const wchar_t* path, unsigned int access, unsigned int share,
                           int security, QvFile* file);

    // QV_ERR_CLOSEFILE if the handle is not an open one.
    QV_API int QV_CloseFile(QvFile file);

    // Moves up to size bytes (64 bits) at the file's position, which the handle keeps for all its
    // users. *done, if given, gets the bytes moved, also on failure. Fewer bytes than asked for
    // without a failure is success: reading at the end gives QV_OK and a smaller *done.
    // QV_ERR_READFILE; QV_ERR_WRITEFILE, or QV_ERR_DISKFULL for a full disk.
    //
    // With async (null: none) the call only queues the transfer, leaves *done alone, and gives
    // QV_OK, or QV_ERR_SYSTEM if there is no thread or memory for it; it never calls back then. The
    // outcome goes to the callback: the statuses above and QV_ERR_SEEKFILE. A read that reaches
    // past the end of the file finishes with QV_OK and the bytes it got; one of 0 bytes calls back
    // once. The buffer stays valid and the file open until the last callback or QV_CancelAsyncIO. A
    // transfer sets the handle's position: one at a time on a handle.
    //
    // When the library goes, at exit or unloaded, transfers end after the block under way, without
    // a last callback. An exit waits up to 3,000 ms for a callback under way, unloading as long as
    // it takes (on Windows it is for the program to have no transfer or callback under way then).
    QV_API int QV_ReadFile(QvFile file, void* buffer, uint64_t size, uint64_t* done,
                           const QvAsyncIo* async);
    QV_API int QV_WriteFile(QvFile file, const void* buffer, uint64_t size, uint64_t* done,
                            const QvAsyncIo* async);

    // Moves the file's position by a signed offset from the start (whence 0), the position (1) or
    // the end (2); another whence gives QV_ERR_SEEKFILE, as does a position before the start.
    QV_API int QV_SeekFile(QvFile file, int64_t offset, int whence);

    // QV_ERR_NULLPTR: position is null. QV_ERR_FILEPOSITION: *position is 0 then.
    QV_API int QV_FilePosition(QvFile file, uint64_t* position);

    // Cuts or extends the file to its position. QV_ERR_SETEOF.
    QV_API int QV_SetEOF(QvFile file);

    // Locks a byte range for this handle alone, or fails at once; the range may lie beyond the end.
    // QV_ERR_LOCKFILE, QV_ERR_UNLOCKFILE. On Linux other handles that lock meet it, while plain
    // reads and writes pass.
    QV_API int QV_LockFile(QvFile file, uint64_t offset, uint64_t length);
    QV_API int QV_UnlockFile(QvFile file, uint64_t offset, uint64_t length);

    // Sets the times that are given, broken-down local time with a resolution of seconds; null
    // leaves a time as it was. QV_ERR_NULLPTR: a time that does not exist; none is set then.
    // QV_ERR_TOUCHFILE.
    QV_API int QV_TouchFile(QvFile file, const struct tm* creation, const struct tm* access,
                            const struct tm* write);

    // Gives the times that are asked for, all fields of struct tm set, tm_isdst -1.
    // QV_ERR_FILETIMES; QV_ERR_SYSTEM if a time does not convert (the outputs before it stay).
    QV_API int QV_GetFileTimes(QvFile file, struct tm* creation, struct tm* access,
                               struct tm* write);

    // Takes the asynchronous reads and writes on the file out, without a callback, after waiting
    // for a block under way: no callback comes for them afterwards. Copies go on. Also for a file
    // without any: callbacks that had begun before this call have returned after it. QV_OK.
    QV_API int QV_CancelAsyncIO(QvFile file);

    // The size in bytes; *size, which may be null, is 0 on failure. QV_ERR_FILESIZE.
    QV_API int QV_GetFileSize(QvFile file, uint64_t* size);

    // The same by name. The status of QV_OpenFile or QV_GetFileSize.
    QV_API int QV_GetFileSizeFromName(const wchar_t* path, uint64_t* size);

    // Looks whether a path exists (QV_ERR_ACCESS if not) and, with bit 0x02 of mode, whether it may
    // be written as far as the read-only attribute goes (QV_ERR_READONLY).
    QV_API int QV_AccessFile(const wchar_t* path, int mode);

    // ------------------------------------------------------------------------ file operations --

    // Copies a file. failIfExists not 0 forbids overwriting. QV_ERR_FILEEXISTS, QV_ERR_ACCESS,
    // QV_ERR_COPYFILE.
    //
    // With proceed or completion the call opens both files, shared, queues the copy and gives
    // QV_OK, or QV_ERR_OPENFILE (also for a target that exists and may not be overwritten), or
    // QV_ERR_SYSTEM without a thread or memory; it never calls back then. Only bytes are copied,
    // and the target stays as far as it was written, whatever ends the copy.
    //
    // proceed: null, or a word of the caller's, aligned, valid until the last callback; 0 in it
    // ends the copy with QV_ERR_CANCELLED behind the next full block. The outcome goes to the
    // callback: QV_ERR_WRITEFILE or QV_ERR_DISKFULL as the last; QV_ERR_FILESIZE (size 0) and
    // QV_ERR_READFILE are followed by others, as the copy goes on with what it can read and ends
    // with QV_OK where it can read nothing. The files are closed right after the last callback:
    // QV_CancelAsyncIO, on any file, waits for that.
    QV_API int QV_CopyFile(const wchar_t* source, const wchar_t* target, int failIfExists,
                           const volatile uint32_t* proceed, QvCopyCompletion completion,
                           void* context);

    // Moves a file. Between volumes it becomes a copy, with the last three arguments and the status
    // of QV_CopyFile, and the source stays. QV_ERR_ACCESS, QV_ERR_SHARING, QV_ERR_MOVEFILE.
    QV_API int QV_MoveFile(const wchar_t* source, const wchar_t* target, int failIfExists,
                           const volatile uint32_t* proceed, QvCopyCompletion completion,
                           void* context);

    // Moves target to backup, over an earlier backup, then replacement to target. The status of the
    // move that failed; if it was the second, the old file stays under the backup's name.
    QV_API int QV_ReplaceFile(const wchar_t* replacement, const wchar_t* target,
                              const wchar_t* backup, const volatile uint32_t* proceed,
                              QvCopyCompletion completion, void* context);

    // Removes a file, also a read-only one. With strict 0 a missing file is success.
    // QV_ERR_ACCESS, QV_ERR_REMOVEFILE.
    QV_API int QV_RemoveFile(const wchar_t* path, int strict);

    // Searches a file in path (null: the system's places) and gives its full path. extension: null
    // or with its dot, for names without one. A path that doesn't fit is success and leaves the
    // buffer to the system. QV_ERR_SEARCHPATH.
    QV_API int QV_SearchPath(const wchar_t* path, const wchar_t* name, const wchar_t* extension,
                             wchar_t* buffer, unsigned int size);

    // Searches a directory by a pattern with * and ?. Entries come sorted by name, without regard
    // to case, "." and ".." among them. *handle is the caller's until QV_FindFileClose; data may be
    // null. QV_ERR_NULLPTR: handle is null. QV_ERR_FINDFIRST, QV_ERR_FINDNEXT. QV_ERR_SYSTEM: a
    // time did not convert; the search goes on and a handle that was stored is to be closed.
    QV_API int QV_FindFileFirst(const wchar_t* pattern, QvFindHandle* handle, QvFindData* data);
    QV_API int QV_FindFileNext(QvFindHandle handle, QvFindData* data);
    QV_API int QV_FindFileClose(QvFindHandle handle); // QV_ERR_FINDCLOSE

    // ------------------------------------------------------------------------- access rights --

    // Stand in the interface and change nothing. Get is always QV_ERR_BADARG, its arguments are not
    // read. Set tells whether the user's account and the file's access list can be reached at all:
    // QV_ERR_BADARG if they can, QV_ERR_ACCESSRIGHTS if not, as for a missing file or one without a
    // list, QV_ERR_NOSYMBOL if the system lacks a function for it.
    QV_API int QV_GetAccessRights(const wchar_t* path, unsigned int* rights);
    QV_API int QV_SetAccessRights(const wchar_t* path, unsigned int rights);

    // ---------------------------------------------------------------------------- directories --

    // Makes a directory, with its parents if recursive is not 0; one that exists is success.
    // Parents are made for the first 259 characters of the path. security is not read.
    // QV_ERR_CREATEDIR.
    QV_API int QV_CreateDirectory(const wchar_t* path, int recursive, int security);

    QV_API int QV_RemoveDirectory(const wchar_t* path); // must be empty; QV_ERR_REMOVEDIR

    // Removes a directory with what it holds, but for entries whose name begins with a dot. A path
    // of up to 259 characters. QV_ERR_SYSTEM: an empty path. QV_ERR_REMOVEDIR: something is left.
    QV_API int QV_RemoveDirectoryRecursively(const wchar_t* path);

    // Tells whether files can be made in a directory, by making one: in the directory itself if the
    // path ends in a separator, beside its last component otherwise.
    QV_API bool QV_IsDirectoryWritable(const wchar_t* path);

    // A buffer that is too small is success and stays untouched. QV_ERR_GETCURDIR.
    QV_API int QV_GetCurrentDirectory(wchar_t* buffer, unsigned int size);
    QV_API int QV_SetCurrentDirectory(const wchar_t* path); // QV_ERR_SETCURDIR

    // Bytes of a volume: free to the caller, in all, free in all; each may be null.
    // QV_ERR_DISKSPACE.
    QV_API int QV_GetDiskSpaces(const wchar_t* path, uint64_t* freeToCaller, uint64_t* total,
                                uint64_t* totalFree);

    // Sets the temporary path of the process, at most 259 characters, empty to clear; call it
    // before other threads use it. QV_ERR_SYSTEM: too long, the request is cleared then.
    QV_API int QV_SetRequestedTempPath(const wchar_t* path);

    // The requested temporary path if it fits, else the system's, with a separator at its end.
    // QV_ERR_TEMPPATH.
    QV_API int QV_GetTempPath(wchar_t* buffer, unsigned int size);

    // Finds a free name in a directory (null: QV_GetTempPath) from a pattern in which each run of
    // '$' stands for a random number of at least so many digits. With create not 0 the file is
    // made, empty. After 32,768 taken or unreachable names it gives up with QV_ERR_OPENFILE; result
    // then holds the last name tried. QV_ERR_TEMPPATH, and those of QV_OpenFile.
    QV_API int QV_GetTempFileName(const wchar_t* directory, const wchar_t* pattern, int create,
                                  wchar_t* result, unsigned int resultSize);

    // The roots of the logical drives, each terminated, and one terminator more.
    // QV_ERR_DRIVESTRINGS; QV_ERR_BUFFERSMALL with the size needed in *needed, if given.
    QV_API int QV_GetLogicalDriveStrings(wchar_t* buffer, unsigned int size, unsigned int* needed);

    // Type and display name of a volume. QV_ERR_NULLPTR, QV_ERR_VOLUMEINFO.
    QV_API int QV_GetVolumeInformation(const wchar_t* root, QvVolumeInfo* info);

    // Stands in the interface and reads no argument: always QV_ERR_NOTIMPL.
    QV_API int QV_GetUNCPath(const wchar_t* path, wchar_t* buffer, unsigned int size);

    // ------------------------------------------------------------------------ storage folders --

    // Where an application keeps its data: a known system folder (CSIDL number, at first
    // CSIDL_COMMON_APPDATA), a folder below it (at first "Quorvane\Default"), and a user's folder
    // below that (at first none). Texts of at most 259 characters; a longer one is cut. To be set
    // before other threads use them. Always QV_OK.
    QV_API int QV_SetStorageFolder(const wchar_t* folder, unsigned int csidl);
    QV_API int QV_SetStorageUser(const wchar_t* user);

    // The library's own texts, which change with the next set. csidl may be null.
    QV_API const wchar_t* QV_GetStorageFolder(unsigned int* csidl);
    QV_API const wchar_t* QV_GetStorageUser(void);

    // The storage path, no separator at its end; the directory is not made. A path that is too
    // short is filled without a terminator. QV_ERR_NULLPTR: the known folder is not one.
    // QV_ERR_SYSTEM: the system could not give it, or the whole exceeds 263 characters.
    QV_API int QV_GetStoragePath(wchar_t* path, unsigned int size, bool withoutUser);

    // Its parent. Always QV_OK; an empty text if there is no storage path.
    QV_API int QV_GetRootStoragePath(wchar_t* path, unsigned int size, bool withoutUser);

    // --------------------------------------------------------------------------- mapped files --

    // Maps a stretch of a file at any byte offset; offset 0 with size 0 maps the whole. *address
    // points at the byte wanted and stays good after the file is closed, until QV_UnmapFile. With
    // QV_MAP_WRITE a stretch beyond the end grows the file. QV_ERR_NULLPTR: address is null, or an
    // unknown mode. QV_ERR_SYSTEM, QV_ERR_FAILED.
    QV_API int QV_MapFile(QvFile file, unsigned int mode, uint64_t offset, uint64_t size,
                          void** address);

    // size is not used. QV_ERR_NULLPTR: address is null. QV_ERR_SYSTEM: nothing is mapped there.
    QV_API int QV_UnmapFile(void* address, uint64_t size);
}

extern "C"
{
    // --------------------------------------------------------------------------------- memory --
    //
    // Sizes are bytes; an output may be null. On Linux the figures are what this process can really
    // get, also inside control groups (both versions, the tightest group up to the top counts):
    //
    //   total physical      MemTotal of /proc/meminfo, or the memory limit of a group
    //   available physical  MemAvailable, or what a group's limit leaves: its usage without the
    //                       pages of files, which the kernel takes back
    //   total page file,    physical memory and SwapTotal, or a group's limits of both; CommitLimit
    //     commit limit      where the kernel refuses to promise more (overcommit mode 2)
    //   available page file available physical memory and SwapFree, likewise bounded
    //   committed           the commit limit less the available page file
    //   commit peak         the greatest committed that this process has seen
    //   total virtual       128 TiB, or the process's limit on addresses (RLIMIT_AS)
    //   available virtual   that less the first figure of /proc/self/statm
    //   system cache        Cached, Buffers and SReclaimable

    // Note the order: virtual memory stands before the page file. Always QV_OK; zeros if the system
    // can't tell.
    QV_API int QV_GetMemoryStatus(uint64_t* pTotalPhys, uint64_t* pAvailPhys,
                                  uint64_t* pTotalVirtual, uint64_t* pAvailVirtual,
                                  uint64_t* pTotalPageFile, uint64_t* pAvailPageFile);

    // QV_ERR_SYSTEM: the system can't tell; no output is written.
    QV_API int QV_GetMemoryInfo(uint64_t* pCommitTotal, uint64_t* pCommitLimit,
                                uint64_t* pCommitPeak, uint64_t* pPhysicalTotal,
                                uint64_t* pPhysicalAvailable, uint64_t* pSystemCache);

    // The memory that is committed now, and the most that the system can commit: physical memory
    // and the largest page file, from "PagingFiles" in the machine's registry under
    // "SYSTEM\CurrentControlSet\Control\Session Manager\Memory Management" (three times the
    // physical memory and at least 4 GiB where the system manages it; none without the key, as
    // usual on Linux). The limit is worked out once. QV_ERR_SYSTEM: *pCommitted is not written.
    QV_API int QV_GetAllocLimit(uint64_t* pCommitted, uint64_t* pLimit);

    // True if a document of so many bytes should not be opened as one piece: above half of physical
    // memory (*pOverflow is 0 then), or with what is in use above three quarters of the addresses
    // or of the allocation limit (*pOverflow: by how many bytes). False leaves *pOverflow alone.
    // bTrace: traces the figures, if detail is wanted.
    QV_API bool QV_CheckSingleDocumentSizeOverflow(uint64_t size, uint64_t* pOverflow, bool bTrace);

    // -------------------------------------------------------------------------------- sockets --
    //
    // The system's own sockets, version 1.1, IPv4 on Linux. Constants, flags and the meaning of
    // each argument are the system's. Status here is QV_OK or QV_ERR_FAILED, and the system's error
    // number (WSAE...) stays readable through WSAGetLastError. "As the system": its own result,
    // with INVALID_SOCKET or SOCKET_ERROR (-1) for a failure. Length pointers are in and out and
    // must not be null, but where the address beside them is null too.
    //
    // The records are those of <winsock.h> under their names in capitals (SOCKADDR_IN, FD_SET,
    // TIMEVAL), which are the same types on Windows. On Linux include <winsock.h> where the
    // constants or the names in lower case are wanted: SOL_SOCKET, timeval and the like then mean
    // those of Windows in that file, and not the C library's, whose records have other layouts.

    // Each success needs its QV_DoneSocket. Status.
    QV_API int QV_InitSocket(void);
    QV_API int QV_DoneSocket(void);

    QV_API SOCKET QV_Socket(int af, int type, int protocol);     // as the system
    QV_API int QV_CloseSocket(SOCKET s);                         // status
    QV_API int QV_Bind(SOCKET s, const SOCKADDR* addr, int len); // status

    // Status; QV_OK also for a connection that is under way on a non-blocking socket. Its end shows
    // by QV_Select: writable when it is there, in the set of failures when it failed.
    QV_API int QV_Connect(SOCKET s, const SOCKADDR* addr, int len);
    QV_API int QV_Listen(SOCKET s, int backlog); // status

    // As the system. addr and len may both be null.
    QV_API SOCKET QV_Accept(SOCKET s, SOCKADDR* addr, int* len);

    // As the system: the bytes moved, which may be fewer than asked for; 0 from QV_Recv when the
    // other side has shut down.
    QV_API int QV_Send(SOCKET s, const char* buf, int len, int flags);
    QV_API int QV_Recv(SOCKET s, char* buf, int len, int flags);
    QV_API int QV_SendTo(SOCKET s, const char* buf, int len, int flags, const SOCKADDR* to,
                         int tolen);
    QV_API int QV_RecvFrom(SOCKET s, char* buf, int len, int flags, SOCKADDR* from, int* fromlen);

    // As the system: the sockets that are left in the sets, 0 when the time is over. n is not used.
    // A null set is empty, a null time endless. FD_SET holds 64 sockets; a longer list of the same
    // layout may be given in its place.
    QV_API int QV_Select(int n, FD_SET* r, FD_SET* w, FD_SET* e, const TIMEVAL* t);

    // Status.
    QV_API int QV_GetSockOpt(SOCKET s, int level, int name, char* value, int* len);
    QV_API int QV_SetSockOpt(SOCKET s, int level, int name, const char* value, int len);
    QV_API int QV_IoctlSocket(SOCKET s, LONG cmd, ULONG* arg);
    QV_API int QV_GetPeerName(SOCKET s, SOCKADDR* addr, int* len);
    QV_API int QV_GetSockName(SOCKET s, SOCKADDR* addr, int* len);
    QV_API int QV_Shutdown(SOCKET s, int how);

    // Between the machine's byte order and the network's.
    QV_API ULONG QV_HtoNl(ULONG value);
    QV_API USHORT QV_HtoNs(USHORT value);
    QV_API ULONG QV_NtoHl(ULONG value);
    QV_API USHORT QV_NtoHs(USHORT value);

    // The address in network byte order; 0xFFFFFFFF for a text that is none.
    QV_API ULONG QV_Inet_Addr(const char* text);

    // Status. A buffer of size bytes that has no room for text and terminator is left alone.
    QV_API int QV_Inet_NtoA(char* buf, unsigned int size, IN_ADDR addr);

    // Status; the name is left to the system if it does not fit into len bytes.
    QV_API int QV_GetHostName(char* name, int len);
}

// What the look-ups give. The pointers lead into memory of the system that is valid until the next
// look-up on the same thread. Ports are in network byte order.
struct QV_HOSTENT
{
    char* h_name;       // official name
    char** h_aliases;   // ends with null, as all lists here
    int16_t h_addrtype; // AF_INET
    int16_t h_length;   // bytes of each address
    char** h_addr_list; // each of h_length bytes, in network byte order
};

// See QV_HOSTENT.
struct QV_SERVENT
{
    char* s_name;     // official name
    char** s_aliases; // further names
    int16_t s_port;   // in network byte order
    char* s_proto;    // the protocol's name
};

// See QV_HOSTENT.
struct QV_PROTOENT
{
    char* p_name;     // official name
    char** p_aliases; // further names
    int16_t p_proto;  // number
};

extern "C"
{
    // QV_OK, or QV_ERR_FAILED if nothing is found; out is then left alone. A null proto stands for
    // any. Asking for hosts may take as long as the network takes.
    QV_API int QV_GetHostByAddr(QV_HOSTENT* out, const char* addr, int len, int type);
    QV_API int QV_GetHostByName(QV_HOSTENT* out, const char* name);
    QV_API int QV_GetServByPort(QV_SERVENT* out, short port, const char* proto);
    QV_API int QV_GetServByName(QV_SERVENT* out, const char* name, const char* proto);
    QV_API int QV_GetProtoByNumber(QV_PROTOENT* out, int number);
    QV_API int QV_GetProtoByName(QV_PROTOENT* out, const char* name);

    // ---------------------------------------------------------------------------- identifiers --

    // Makes a random identifier, unique in the world. QV_ERR_SYSTEM.
    QV_API int QV_Generate_Uuid(UUID* pUuid);

    // Stands in the interface and reads no argument: always QV_ERR_BADARG.
    QV_API int QV_Parse_Uuid(const wchar_t* pText, UUID* pUuid);

    // Writes 32 lower-case hexadecimal digits and a terminator: pText has room for 33 characters.
    // Always QV_OK.
    QV_API int QV_Type_Uuid(const UUID* pUuid, wchar_t* pText);

    // ---------------------------------------------------------------------------------- power --

    // Keeps the machine from saving power (bDisable true), and puts things back (false): screen
    // saver and power saving of the display, falling asleep, and shutting down, for which hWnd is
    // the window that stands for the application and pReason, of up to 255 characters, the text
    // that the user is shown. Both calls come from one thread, which lives in between. They don't
    // nest: what a second turning off saves is the settings as the first one made them, so that
    // the restoring then leaves them off. Always QV_OK.
    //
    // On Linux the login manager holds locks with that reason (see systemd-inhibit --list) and the
    // desktop holds its screen saver off, where they are on the message bus, until the restoring or
    // the end of the process, however it ends. The settings themselves stay until the next start of
    // the machine. hWnd is not looked at.
    QV_API int QV_DisableWindowsPowerSave(HWND hWnd, bool bDisable, const wchar_t* pReason);
}

// --------------------------------------------------------------------- identity (C++ linkage) --

// The process-wide local option: the value that was set, else whether the machine's registry has
// "LocalOptions" 1 under HKEY_LOCAL_MACHINE\SOFTWARE\Quorvane\Misc; read once. The argument of
// QV_IsLocalOption has no effect.
QV_API void QV_SetLocalOption(bool value);
QV_API bool QV_IsLocalOption(const wchar_t* option);

// The main thread is the first thread that calls this; its id.
QV_API unsigned int QV_GetMainThreadId();

// True if the ids are equal. Otherwise false, and a message that is not null is traced.
QV_API bool QV_CompareThreadId(unsigned int first, unsigned int second, const wchar_t* message);

// True on the main thread. False otherwise; message and source file, as far as they are not null,
// are traced then. False without a word if no main thread is recorded.
QV_API bool QV_CheckMainThreadId(const wchar_t* message, const char* sourceFile, int line);

// The system's version, read once while the library loads. If that failed all answers are false.
class QV_API CQvWinVersion
{
public:
    // What the system gave; zero versions if it gave nothing.
    static OSVERSIONINFOW s_osVersionInfo;

    // Whether the system is exactly the version, with OrGreater that one or a later one; IsWinNT:
    // whether it is of that family, as all of today are.
    static bool IsWin95();
    static bool IsWin98();
    static bool IsWinME();
    static bool IsWin35();
    static bool IsWin40();
    static bool IsWin2k();
    static bool IsWinXP();
    static bool IsWinXPOrGreater();
    static bool IsWinVista();
    static bool IsWinVistaOrGreater();
    static bool IsWin7();
    static bool IsWin7OrGreater();
    static bool IsWin8();
    static bool IsWinNT();
    static void GetOSVersionInfo(OSVERSIONINFOW& info); // a copy of all 276 bytes

    CQvWinVersion& operator=(const CQvWinVersion&); // copies nothing
};

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
    // QV_ERR_WRITEFILE, QV_ERR_DISKFULL, and the status of a split that failed.
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
    bool OpenForDate(const wchar_t* folder, const QvLogDate& date);
    void WriteSessionHeader();
    void WriteByteOrderMark();
    int WriteLocked(const wchar_t* message, size_t limit);
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

// -------------------------------------------------------------------------------- thread pool --

// Runs functions on threads that are kept for a while, so that a call does not pay for a new one.
//
// It is no queue: each call is handed at once to a thread that waits, or to a new one if none does;
// their number has no limit but the system's. Up to three threads wait for calls, for 60, 30 and 15
// seconds (whole seconds of the calendar clock, so up to a second less), and then end: an idle pool
// has none. Any thread may make calls, also from within a call of the same pool.
class CThreadPool
{
public:
    // A pool without threads; ended by DestroyThreadPool. Null without memory for it.
    QV_API static CThreadPool* CreateThreadPool();

    // Ends all threads, after waiting for the calls under way however long they take, and frees the
    // pool. Null is refused. Not to be called from a call of the pool, nor twice; no thread may
    // still make calls. Before the library is unloaded all pools must be gone.
    QV_API static void DestroyThreadPool(CThreadPool* pPool);

    // Hands pfn(pArg) to a thread; back as soon as the thread has taken it. The result of pfn is
    // dropped; it must not throw. QV_ERR_SYSTEM: no thread waited and none could be made; nothing
    // was called, and the pool goes on. A call to a waiting thread allocates nothing.
    QV_API int MakeCallFromThreadPool(void* (*pfn)(void*), void* pArg);

    CThreadPool(const CThreadPool&) = delete;
    CThreadPool& operator=(const CThreadPool&) = delete;

private:
    struct ThreadInfo;

    CThreadPool();
    ~CThreadPool();

    void LockPool();
    void UnlockPool();
    void LockThreads();
    void UnlockThreads();
    void SignalThread(pthread_cond_t* pSignal);
    void WaitCtx();
    void PostCtx();

    bool MakeRoom();
    ThreadInfo* ChooseWorker() const;
    uint32_t ChooseTimeout() const;
    void WaitForCall(ThreadInfo& info, uint32_t timeout);
    void Remove(ThreadInfo& info);
    void CheckCounts() const;
    void Work();
    static void* WorkerProcedure(void* pool);

    // Lock order: the pool's, then the threads'. The pool's makes callers take turns; the threads'
    // guards all the rest but m_CtxSem.
    pthread_mutex_t m_PoolMutex;
    pthread_mutex_t m_ThreadMutex;
    pthread_cond_t m_FinishSignal;  // the last worker has left a pool that is being destroyed
    uint32_t m_uThreadCount;        // workers in m_ThreadInfo
    uint32_t m_uWorkingThreadCount; // of them, those in a call or about to enter one
    bool m_bDestroying;             // set once
    ThreadInfo* m_pCalledThread;    // chosen for the call in the mailbox
    std::vector<ThreadInfo*> m_ThreadInfo; // in the order of their start; each on its own stack
    sem_t m_CtxSem;                        // posted when the mailbox has been emptied
    void* (*m_pfnCall)(void*);             // the mailbox: one call
    void* m_pCallArg;
};

// ---------------------------------------------------------------------- modules and resources --

// A module's handle: the system's own. Null for none.
using __qv_hmodule = HINSTANCE__; // NOLINT(bugprone-reserved-identifier): the name is given

extern "C"
{
    // Loads a module by file name or path, with '\' or '/'. A loaded module is counted: each load
    // wants a QV_UnloadLibrary. Null on failure, and the system's error stays readable; null or an
    // empty name is refused. On Linux the module is a shared object, and for X.dll the names
    // libX.so and X.so are tried too.
    QV_API __qv_hmodule* QV_LoadLibrary(const wchar_t* filename);

    // QV_ERR_NULLPTR: lib is null. QV_ERR_SYSTEM: it is no module.
    QV_API int QV_UnloadLibrary(__qv_hmodule* lib);

    // The address of an exported function or variable; null if there is none, or an argument is
    // null or empty.
    QV_API void* QV_GetSymbol(__qv_hmodule* lib, const char* name);

    // Copies a section of a PE file of either width, as it lies in the file, without loading it.
    // section: its name, at most 8 characters, without regard to case. *data: a block of *size
    // bytes for QV_FreeDataSeg. QV_ERR_NULLPTR: data, size or section is null. QV_ERR_NOFILE: the
    // file can't be opened. QV_ERR_SYSTEM: it is no PE file, has no such section, its section is
    // not all there, or memory ran out. On failure *data is null and *size 0.
    QV_API int QV_GetDataSeg(const wchar_t* filename, const char* section, void** data,
                             uint32_t* size);

    // Frees the block, and sets the pointer to null; null is fine for either. Always QV_OK.
    QV_API int QV_FreeDataSeg(void** data);

    // The first four bytes, as a little-endian number, of the value
    // "\StringFileInfo\040504b0\PatchNumber" in the version block of a PE file; 0 without one.
    QV_API uint32_t QV_GetModulePatchNumber(const wchar_t* filename);

    // Stores a file of less than 2 GiB in a PE file, as a resource of type RT_RCDATA and language
    // 0; one that exists under the name is replaced. name: a text, without regard to case, or a
    // number by MAKEINTRESOURCEW. The module file is replaced whole or stays as it was; a signature
    // in it goes. QV_ERR_SYSTEM: QV_GetResCopyError tells why.
    QV_API int QV_ResourceToDll(const wchar_t* name, const wchar_t* modulePath,
                                const wchar_t* dataPath);

    // Writes such a resource out into a file. The file's former content is gone, and it is left
    // empty, also if the module has no such resource. QV_ERR_SYSTEM: as above.
    QV_API int QV_DllToResource(const wchar_t* name, const wchar_t* modulePath,
                                const wchar_t* dataPath);

    // What the last of the two that failed has failed at, for people; null if none has. One text
    // for the process: with several threads at work, the latest.
    QV_API const wchar_t* QV_GetResCopyError(void);
}

// Where SetData puts its data. Any other value acts as QV_BYTEARRAY_OP_SET.
enum EQvByteArrayModeOp : unsigned
{
    QV_BYTEARRAY_OP_SET = 0,    // at the start; the size becomes that of the data
    QV_BYTEARRAY_OP_APPEND = 1, // behind the bytes in use
};

// What SetData does if the data doesn't fit. Any other value acts as QV_BYTEARRAY_ALLOC_EXACT.
enum EQvByteArrayModeAlloc : unsigned
{
    QV_BYTEARRAY_ALLOC_EXACT = 0, // reallocates to the size that is needed
    QV_BYTEARRAY_ALLOC_FIXED = 1, // stores as much as fits
    QV_BYTEARRAY_ALLOC_GROW = 2, // reallocates by whole growth steps, with at least a byte to spare
};

// A growable buffer: bytes in use, bytes allocated, and a cursor that only the caller moves. Sizes
// have 32 bits; what would need more is a failure like that of the memory. Only FreeData gives
// memory back. One thread at a time.
class QV_API CQvByteArrayW32
{
public:
    explicit CQvByteArrayW32(unsigned int growthStep = 1024); // bytes; 0 counts as 1
    // Starts with a copy of size bytes. Without memory for it the array is empty.
    CQvByteArrayW32(const void* data, unsigned int size, unsigned int growthStep);
    CQvByteArrayW32(const CQvByteArrayW32& other);            // the cursor starts at 0
    CQvByteArrayW32& operator=(const CQvByteArrayW32& other); // keeps its own growth step
    ~CQvByteArrayW32();

    // By the bytes in use alone.
    bool operator==(const CQvByteArrayW32& other) const;
    bool operator!=(const CQvByteArrayW32& other) const;

    // Copies size bytes in; data may be the array's own. With null only room is made. Nothing
    // happens to the size if size is 0. QV_ERR_NOMEMORY: null, and no room could be made.
    // QV_ERR_TRUNCATED: a part was stored. QV_ERR_SYSTEM: there is no room at all.
    int SetData(const void* data, unsigned int size, EQvByteArrayModeOp op,
                EQvByteArrayModeAlloc alloc);
    void FreeData();

    // The block, null if nothing is allocated; good until it grows or goes. A new size that is not
    // 0 and is allocated becomes the number of bytes in use: for who has written into the block.
    const void* GetData() const;
    void* GetData(unsigned int newSize);
    unsigned int GetSize() const;
    unsigned int GetAllocated() const;

    // The cursor, up to the bytes allocated. QV_ERR_NULLPTR: beyond them, or not in the block.
    int SetCurrentOffset(unsigned int offset);
    int SetCurrentOffsetPtr(void* pointer);
    unsigned int GetCurrentOffset() const;
    void* GetCurrentOffsetPtr() const;

private:
    void Init(unsigned int growthStep);
    bool Reallocate(unsigned int base, unsigned int size, EQvByteArrayModeAlloc alloc);

    unsigned char* m_pData;
    uint32_t m_uCurrentOffset;
    uint32_t m_uSize;
    uint32_t m_uAllocated;
    uint32_t m_uGrowthStep;
};

// Resources of a module: byte arrays in the order of loading, each with an id.
//
// Copies share one list. A caller who keeps what was loaded takes it over in two steps,
// "kept = loaded; loaded.UnrefDataMember();": the list is then kept's alone. One thread at a time,
// also for objects that share a list. Without memory the operations throw std::bad_alloc.
class QV_API CQvRscData
{
public:
    CQvRscData();
    CQvRscData(const CQvRscData& other); // shares the list
    ~CQvRscData();                       // frees the list if nobody else holds it

    // Shares the other's list. The list that this object held goes if nobody else holds it.
    CQvRscData& operator=(const CQvRscData& other);

    // Gives the list up to whoever shares it; if nobody does, it is lost. After it the object is
    // empty and takes no data.
    void UnrefDataMember();

    // Appends a copy of size bytes. Null with a size of 0 makes an empty entry. QV_ERR_NULLPTR:
    // there is no list.
    int AppendData(const void* data, unsigned int size, int id);

    int Clear();                         // always QV_OK
    int GetCQvByteArrayW32Count() const; // of entries; 0 without a list

    // The entry at a position, counted from 0; a negative one counts as 0. The array is the list's
    // own and lives as long. id: may be null. Without such an entry *id stays, and the result is a
    // shared array of size 0.
    CQvByteArrayW32& GetCQvByteArrayW32(int index, int* id) const;

private:
    friend QV_API const CQvRscData& QV_RCDATAToCQvRscDataByID(CQvRscData&, __qv_hmodule*, int, int);
    struct List;

    void Release();

    __qv_hmodule* m_pModule; // of the last load: a record, which nothing reads
    List* m_pList;
};

// Append the resource of type RT_RCDATA with the number id to target; if there is none, nothing is
// appended. Its entry gets entryId, or id if that is -1. A null module, or a path that can't be
// opened, stands for the main executable. The result is target.
QV_API const CQvRscData& QV_RCDATAToCQvRscDataByID(CQvRscData& target, __qv_hmodule* module, int id,
                                                   int entryId);
QV_API const CQvRscData& QV_RCDATAToCQvRscDataByID(CQvRscData& target, const wchar_t* modulePath,
                                                   int id, int entryId);

// Replace what target holds by the module's data for all languages: the resources with the numbers
// 0x400 to 0x47E, 0x804 and 0xC0A, in this order, as far as there are.
QV_API const CQvRscData& QV_RCDATAToCQvRscData(CQvRscData& target, __qv_hmodule* module);
QV_API const CQvRscData& QV_RCDATAToCQvRscData(CQvRscData& target, const wchar_t* modulePath);

// ------------------------------------------------------------------------------ trace viewing --

// One waiting text: up to 1,024 bytes, narrow; a text that fills the array has no terminator.
class QV_API CSyncCacheMember
{
public:
    explicit CSyncCacheMember(char* src); // null gives an empty text
    CSyncCacheMember(const CSyncCacheMember&) = default;
    CSyncCacheMember& operator=(const CSyncCacheMember& other); // copies the whole array

    char m_szText[1024]; // the text, then a terminator if there is room
};

// An unbounded first-in, first-out store of narrow texts that come out wide. Any number of threads
// may push and pop; copying needs a source at rest.
class QV_API CSyncCache
{
public:
    CSyncCache();
    ~CSyncCache();                                  // drops what still waits
    CSyncCache(const CSyncCache& other);            // copies the texts; the lock is its own
    CSyncCache& operator=(const CSyncCache& other); // the same

    // Appends a copy of the first 1,024 bytes of the text; null counts as empty. Always 0.
    int PushBack(char* src);

    // Takes the oldest text out into dst, which has room for 1,024 characters and is always
    // terminated (at most 1,023 are kept). 0, or QV_ERR_FAILED if the cache is empty.
    int PopFrontW(wchar_t* dst);

private:
    std::list<CSyncCacheMember> m_Items;
    CRITICAL_SECTION m_Lock;
};

class CDebugWindow;

// A window class description that starts as all zeroes with its size filled in.
class QV_API CWndClassEx : public WNDCLASSEXW
{
public:
    CWndClassEx();
    CWndClassEx(const CWndClassEx&) = default;
    CWndClassEx& operator=(const CWndClassEx& other); // copies the description
};

// That of the debug windows, "PLINTH_DEBUG_WINDOW", with the given procedure. It belongs to the
// application's module.
class QV_API CDbgWndClassEx : public CWndClassEx
{
public:
    explicit CDbgWndClassEx(WNDPROC pfnWndProc); // which the windows' messages go to
    CDbgWndClassEx(const CDbgWndClassEx&) = default;
    CDbgWndClassEx& operator=(const CDbgWndClassEx& other); // copies the description
};

// The objects of the debug string channel, as a listener holds them. A part of CDebugFramework, not
// for use by itself.
class COutDbgStringSync
{
public:
    // Makes the objects, as far as it can; quiet: no message box if another listener has them.
    explicit COutDbgStringSync(bool bQuiet);
    virtual ~COutDbgStringSync(); // closes what was made
    COutDbgStringSync(const COutDbgStringSync&) = delete;
    COutDbgStringSync& operator=(const COutDbgStringSync&) = delete;

    bool m_bValid;                    // all objects were made
    HANDLE m_eventDBWIN_BUFFER_READY; // the buffer is free
    HANDLE m_eventDBWIN_DATA_READY;   // a text is in the buffer
    HANDLE m_SharedFile;              // the mapping DBWIN_BUFFER
    void* m_SharedMem;                // its view: the sender's process id, then the text
    SECURITY_ATTRIBUTES m_sa;         // of all objects
    SECURITY_DESCRIPTOR m_sd;         // in m_sa: everybody may use them
};

// The receiving end of the debug string channel: a listener thread that takes each text of every
// process and frees the channel, an adder thread that hands the texts on to AddItem, one at a time,
// in order, with no lock held. The machine has room for one listener at a time.
//
// The full constructor opens the first debug window, with the identifier 0, and starts the threads.
// The short ones make the channel objects and start nothing: a subclass starts the threads.
//
// A subclass that overrides AddItem and starts threads calls StopThreads in its own destructor,
// while its AddItem may still be called.
class QV_API CDebugFramework
{
public:
    // hParent: the owner of the debug windows; null, or no window, for none. If another listener
    // runs a message box says so; the window opens all the same and stays empty.
    explicit CDebugFramework(HWND hParent);
    CDebugFramework();
    explicit CDebugFramework(bool bQuiet); // quiet: no message box if another listener runs
    CDebugFramework(const CDebugFramework&) = delete;
    CDebugFramework& operator=(const CDebugFramework&) = delete;

    // Opens a window for the identifier and returns once it is there. Without effect if there is
    // one, or no memory. Not while the threads run, unless on the adder thread.
    void CreateDebugWindow(int nId);

    // Shows the text as a row of the window that it names by a tag "|wndid:", a decimal number and
    // all that follows up to a blank. The tag counts at the very start of the text, or behind the
    // time stamp of a trace record. What is shown is the text without the tag, tabs dividing it
    // into columns. A text without a tag, or with the identifier 2147483647, is not shown. The
    // first identifier that comes gets the first window; further ones get windows of their own. A
    // window that the user has closed swallows its rows.
    virtual void AddItem(const wchar_t* text);

    // Ends the threads, waiting up to 3,000 ms for each before terminating it, then closes the
    // windows, with the same limit for each; texts that still wait are dropped.
    virtual ~CDebugFramework();

    // What the two threads run; pThis is the framework. The result means nothing.
    static unsigned int listener_thread_proc(void* pThis);
    static unsigned int adder_thread_proc(void* pThis);

protected:
    // Starts both threads. sourceFile: for the report of a failure.
    void StartThreads(const char* sourceFile);
    // Ends them, as the destructor does; without effect if there are none.
    void StopThreads();

    bool m_bFirstItem;                          // no row has been shown
    HWND m_hParent;                             // owner of the windows, may be null
    std::map<int32_t, CDebugWindow*> m_Windows; // by identifier; owned, the adder thread's
    std::atomic<int32_t> m_lPending;            // texts in the cache, and the adder's wake-up count
    HANDLE m_ListenerThread;                    // null while there is none
    uint32_t m_uListenerThreadId;               // the system's id of it
    std::atomic<bool> m_bListenerRun;           // false: the listener is to end
    HANDLE m_AdderThread;                       // null while there is none
    uint32_t m_uAdderThreadId;                  // the system's id of it
    std::atomic<bool> m_bAdderRun;              // false: the adder is to end
    COutDbgStringSync m_Sync;                   // the channel
    CSyncCache m_Cache;                         // texts that wait for the adder
};

// Opens the trace window of the application: makes the one debug framework that the library keeps,
// until the process ends. With one there already nothing happens if recreate is 0; otherwise it is
// deleted and a new one made. parent: see CDebugFramework. Calls of several threads must not
// overlap. A CDebugFramework shows a trace record in the window that its "|wndid:" tag names.
extern "C" QV_API void DiagOutputWnd(HWND parent, int recreate);

class CQvDbgCapt;

// Receives every text that any process of the user sends to the debug string channel, from
// construction to destruction.
//
// The callback runs on a thread of the object, one text at a time, in order of arrival, with no
// lock held; the text, of at most 1,023 characters, is valid during the call. It must not destroy
// its own object. A callback that traces feeds itself. If another listener has the channel nothing
// arrives. The destructor waits up to 3,000 ms for a callback that runs, then ends its thread.
class QV_API CQvDebugOutputCapture
{
public:
    explicit CQvDebugOutputCapture(void (*pfn)(const wchar_t*)); // null: texts are discarded
    virtual ~CQvDebugOutputCapture();
    CQvDebugOutputCapture(const CQvDebugOutputCapture&) = delete;
    CQvDebugOutputCapture& operator=(const CQvDebugOutputCapture&) = delete;

private:
    CQvDbgCapt* m_pCapt;
    [[maybe_unused]] void (*m_pfnCallback)(const wchar_t*); // as it was given
};

#endif
