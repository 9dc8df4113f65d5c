// The application log: its instance, and writing.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include <windows.h>

#include <plinth_w32_pthreadVC.h>
#include <shellapi.h>
#include <tchar.h>

#include "at_fork.h"
#include "logfile_append.h"
#include "logfile_form.h"
#include "logfile_internal.h"

pthread_mutexCS_t CQvLogFile::m_classLock = nullptr;
bool CQvLogFile::m_bLogEnabled = true;
bool CQvLogFile::m_bUnicodeEnabled = false;
int32_t CQvLogFile::m_iMaxLogMessageLength = 512;
CQvLogFile* CQvLogFile::m_pSingleton = nullptr;

namespace
{

constexpr size_t stack_copy_limit = 1008; // bytes of a narrow copy that need no allocation
constexpr const wchar_t* header_text = L"Log session started.\r\n";

// Set when the lock is destroyed for good: later calls must not touch the instance.
std::atomic<bool> s_ended{false};

// True once in each second in which records are written, by seconds of the wall clock; setting that
// clock causes at most one additional check. A negative second means that the caller does not know
// it: then the cheapest clock is read, which may be some milliseconds later to show a new second
// than the caller's. So each of the two has its own last second. Needs m_classLock.
bool IsTimeToLook(int64_t known)
{
    static int64_t s_looked[2] = {0, 0};
    const int64_t now = known >= 0 ? known : _time64(nullptr);
    int64_t& looked = s_looked[known >= 0 ? 1 : 0];
    if (now == looked) [[likely]]
        return false;
    looked = now;
    return true;
}

// The characters of a message that are written: less than the limit, whose terminator counts.
size_t LengthWithin(int32_t limit, const wchar_t* message, size_t length)
{
    const size_t most = limit < 0 ? SIZE_MAX : static_cast<size_t>(limit) - 1;
    return length != qv_unknown ? std::min(length, most) : wcsnlen(message, most);
}

// A fork waits for the log's lock only a short time, because its holder may wait for another
// process. Without the lock, the child starts with an instance of its own; the parent's stays open
// and unused.
bool s_takenAtFork = false;

void TakeAtFork()
{
    constexpr double patience = 100; // ms
    constexpr timespec no_time = {0, 0};
    const double start = QV_GetTimeCounter();
    int result = EBUSY;
    while ((result = pthread_mutexCS_trylock(&CQvLogFile::m_classLock)) == EBUSY &&
           QV_GetTimeCounter() - start < patience)
        pthread_delay_np(&no_time);
    s_takenAtFork = result == 0;
}

void ReleaseAtFork()
{
    if (s_takenAtFork)
        pthread_mutexCS_unlock(&CQvLogFile::m_classLock);
}

void RenewInChild()
{
    if (s_takenAtFork || !CQvLogFile::m_classLock)
        return;
    QvLeaveToParent(CQvLogFile::m_classLock);
    pthread_mutexCS_init(&CQvLogFile::m_classLock, nullptr);
    QvLeaveToParent(CQvLogFile::m_pSingleton);
    CQvLogFile::m_pSingleton = nullptr;
}

const QvAtFork s_atFork(QvForkStep::log, {TakeAtFork, ReleaseAtFork, RenewInChild});

// Keeps the low byte of each character. Works in blocks of a fixed size, which the compiler turns
// into few instructions, and with a known end. So QV_Log of 100 characters costs 55 ns more than
// its bare write, rather than 74 with one character at a time (log/QV_Log of the benchmarks). True
// if one of the bytes is zero.
bool TakeLowBytes(char* bytes, const wchar_t* text, size_t length)
{
    constexpr size_t block_size = 16;
    char hasZero[block_size] = {};
    size_t done = 0;
    for (; length - done >= block_size; done += block_size)
    {
        char block[block_size];
        for (size_t i = 0; i < block_size; ++i)
            block[i] = static_cast<char>(text[done + i] & 0xFF);
        for (size_t i = 0; i < block_size; ++i)
            hasZero[i] |= static_cast<char>(block[i] == 0);
        std::copy_n(block, block_size, bytes + done); // a checked memcpy would be a call each
    }
    for (; done < length; ++done)
    {
        bytes[done] = static_cast<char>(text[done] & 0xFF);
        hasZero[0] |= static_cast<char>(bytes[done] == 0);
    }
    constexpr char none[block_size] = {};
    return std::memcmp(hasZero, none, block_size) != 0;
}

} // namespace

void CQvLogFile::Initialize()
{
    if (pthread_mutexCS_init(&m_classLock, nullptr) == 0)
        std::atomic_ref(m_bLogEnabled).store(true);
    else
        DiagAssertW(0, L"pthread_mutexCS_init(&m_classLock, NULL)", nullptr, qv_logfile_source,
                    __LINE__);
    s_ended = false;
}

void CQvLogFile::Uninitialize()
{
    s_ended = true;
    // First wait for a thread that is writing now. Not for ever: if a thread was terminated while
    // it wrote, as the system does with all other threads before a process detach, the lock stays
    // held.
    constexpr int attempts = 100;
    for (int attempt = 0; attempt < attempts; ++attempt, Sleep(1))
        if (pthread_mutexCS_trylock(&m_classLock) != EBUSY)
        {
            pthread_mutexCS_unlock(&m_classLock);
            break;
        }
    pthread_mutexCS_destroy(&m_classLock);
}

CQvLogFile* CQvLogFile::LockedInstance()
{
    if (s_ended)
        return nullptr;
    if (!m_pSingleton)
        m_pSingleton = new (std::nothrow) CQvLogFile;
    if (m_pSingleton && !m_pSingleton->m_bOpen)
        DropLockedInstance();
    return m_pSingleton;
}

void CQvLogFile::DropLockedInstance()
{
    delete m_pSingleton;
    m_pSingleton = nullptr;
}

CQvLogFile* CQvLogFile::getInstance(bool)
{
    const QvLogLock lock;
    return LockedInstance();
}

CQvLogFile::CQvLogFile()
    : m_hFile(nullptr), m_bOpen(false), m_iDetail(0), m_uMaxLogMBytes(qv_no_limit),
      m_uMaxLogDays(10), m_uBytesWritten(0), m_bPerSession(true)
{
    m_wsLogFilename[0] = L'\0';
    std::atomic_ref(m_bUnicodeEnabled).store(GetUnicodeEnabled());
    wchar_t folder[qv_folder_limit];
    GetLogFileDir(folder);
    QV_CreateDirectory(folder, 1, QV_SECURITY_DEFAULT);
    ReadSettings();
    QvLogDate today;
    if (!QvLogToday(today) || !OpenAndBegin(folder, today))
        return;
    m_iDetail = -1;
    m_bOpen = true;
}

// Opens the file and writes the session header. If another process has begun the empty file in the
// other form, tries the next number. The attempts are limited, because each can wait.
bool CQvLogFile::OpenAndBegin(const wchar_t* folder, const QvLogDate& date)
{
    constexpr int attempts = 32;
    const ULONGLONG deadline = GetTickCount64() + qv_gate_patience;
    unsigned number = QvLogNumber(folder, date, m_bPerSession);
    for (int attempt = 0; attempt < attempts; ++attempt, ++number)
    {
        if (!OpenForDate(folder, date, number))
            return false;
        QV_SeekFile(m_hFile, 0, 2);
        if (attempt == 0)
            QvRemoveOldLogs(folder, m_uMaxLogDays);
        if (WriteSessionHeader(deadline) != qv_file_lost)
            return true;
        QV_CloseFile(m_hFile);
    }
    return false;
}

CQvLogFile::~CQvLogFile()
{
    if (m_bOpen)
        QV_CloseFile(m_hFile);
}

// A copy names the same file; only the original closes it.
CQvLogFile& CQvLogFile::operator=(const CQvLogFile& other)
{
    if (this == &other)
        return *this;
    if (m_bOpen)
        QV_CloseFile(m_hFile);
    m_hFile = other.m_hFile;
    m_bOpen = false;
    m_iDetail = other.m_iDetail;
    m_uMaxLogMBytes = other.m_uMaxLogMBytes;
    m_uMaxLogDays = other.m_uMaxLogDays;
    std::memcpy(m_wsLogFilename, other.m_wsLogFilename, sizeof m_wsLogFilename);
    m_uBytesWritten = other.m_uBytesWritten;
    m_bPerSession = other.m_bPerSession;
    return *this;
}

// Stamp and text are one append: between two, another process could write a record.
int CQvLogFile::WriteSessionHeader(uint64_t deadline)
{
    wchar_t header[qv_stamp_limit + 32] = L"";
    curr_time_string(header);
    wcscat(header, header_text);
    uint64_t written = 0;
    QvRecord record = {header, wcslen(header) * sizeof *header};
    char bytes[qv_stamp_limit + 32];
    if (!m_bUnicodeEnabled)
    {
        wtoc(bytes, header);
        record = {bytes, strlen(bytes)};
    }
    const int status = QvAppendFirst({m_hFile, m_wsLogFilename}, record, deadline, written);
    m_uBytesWritten += static_cast<uint32_t>(written);
    return status;
}

// Writes so many characters. The status of the append, or qv_no_copy.
int CQvLogFile::WriteLocked(const wchar_t* message, size_t length)
{
    QvRecord record = {message, length * sizeof *message};
    char small[stack_copy_limit];
    std::unique_ptr<char[]> large;
    if (!m_bUnicodeEnabled)
    {
        char* bytes = small;
        if (length > sizeof small)
        {
            large.reset(new (std::nothrow) char[length]);
            if (!large)
                return qv_no_copy;
            bytes = large.get();
        }
        // A character whose low byte is zero ends the text, as the terminator does.
        if (TakeLowBytes(bytes, message, length))
            length = strnlen(bytes, length);
        record = {bytes, length};
    }
    uint64_t written = 0;
    const QvLogTarget log = {m_hFile, m_wsLogFilename};
    // If no byte has been written, the session header is missing too: this record is the first.
    const int status =
        m_uBytesWritten != 0
            ? QvAppendRecord(log, record, written)
            : QvAppendFirst(log, record, GetTickCount64() + qv_gate_patience, written);
    m_uBytesWritten += static_cast<uint32_t>(written);
    return status;
}

// Writes the message through a new instance, because this one's file was removed or can no longer
// be written. Needs m_classLock.
int CQvLogFile::WriteAnew(const wchar_t* message, size_t length)
{
    DropLockedInstance();
    if (!LockedInstance() || !QvIsLogEnabled())
        return QV_ERR_SYSTEM;
    const int status = m_pSingleton->WriteLocked(message, length);
    return status == qv_file_lost ? QV_ERR_SYSTEM : status;
}

int QvLog(const wchar_t* message, int detail, size_t length, int64_t second)
{
    if (!message)
        return QV_ERR_NULLPTR;
    const QvLogLock lock;
    CQvLogFile* instance = CQvLogFile::LockedInstance();
    if (!instance || !QvIsLogEnabled() || detail < instance->m_iDetail)
        return QV_ERR_SYSTEM;
    int withoutWrite = QV_ERR_SYSTEM;
    if (instance->m_uBytesWritten >> 20 > instance->m_uMaxLogMBytes)
    {
        const int status = CQvLogFile::SplitFile(instance);
        if (status != QV_OK)
            return status;
        instance = CQvLogFile::m_pSingleton;
        withoutWrite = QV_OK;
    }
    const int32_t limit =
        std::atomic_ref(CQvLogFile::m_iMaxLogMessageLength).load(std::memory_order_relaxed);
    if (limit == 0)
        return withoutWrite;
    length = LengthWithin(limit, message, length);
    const bool gone =
        IsTimeToLook(second) && QvIsLogGone({instance->m_hFile, instance->m_wsLogFilename});
    int status = gone ? qv_file_lost : instance->WriteLocked(message, length);
    if (status == qv_file_lost) [[unlikely]]
        status = CQvLogFile::WriteAnew(message, length);
    return status == qv_no_copy ? withoutWrite : status;
}

int CQvLogFile::Log(const wchar_t* message, int detail)
{
    return QvLog(message, detail);
}

extern "C" int QV_Log(const wchar_t* message)
{
    return QvLog(message, 0);
}

int CQvLogFile::CloseLog()
{
    const QvLogLock lock;
    if (m_pSingleton && !s_ended)
        DropLockedInstance();
    return QV_OK;
}

bool CQvLogFile::EnableLog(bool enable)
{
    const bool before = std::atomic_ref(m_bLogEnabled).exchange(enable);
    if (before && !enable)
        CloseLog();
    return before;
}

bool CQvLogFile::IsEnabled()
{
    return QvIsLogEnabled();
}

bool CQvLogFile::Detail()
{
    const QvLogLock lock;
    const CQvLogFile* const instance = LockedInstance();
    return instance && QvIsLogEnabled() && instance->m_iDetail < 0;
}

int CQvLogFile::ChangeLogDetail(int)
{
    return QV_OK;
}

int CQvLogFile::SaveAs(const wchar_t*, unsigned int)
{
    return QV_OK;
}

int CQvLogFile::ClearLog()
{
    const QvLogLock lock;
    CQvLogFile* const instance = LockedInstance();
    if (!instance || !QvIsLogEnabled())
        return QV_ERR_SYSTEM;
    if (!instance->m_bPerSession)
        return SplitFile(instance);
    DropLockedInstance();
    return LockedInstance() && QvIsLogEnabled() ? QV_OK : QV_ERR_SYSTEM;
}

int CQvLogFile::OpenLog(bool folder)
{
    constexpr size_t path_limit = 1024;
    wchar_t directory[qv_folder_limit];
    GetLogFileDir(directory);
    if (folder)
    {
        ShellExecuteW(GetActiveWindow(), L"open", L"explorer", directory, nullptr, SW_SHOWNORMAL);
        return QV_OK;
    }
    wchar_t path[path_limit] = L"";
    {
        const QvLogLock lock;
        if (const CQvLogFile* const instance = LockedInstance())
            wcscpy(path, instance->m_wsLogFilename);
    }
    // If we have no file of our own, show the last one in the folder.
    if (!path[0] || GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES)
    {
        QvLogSearch search(directory);
        while (const wchar_t* const name = search.Next())
        {
            wcscpy(path, directory);
            wcscat(path, name);
        }
    }
    ShellExecuteW(GetActiveWindow(), L"open", L"notepad", path, nullptr, SW_SHOWNORMAL);
    return QV_OK;
}

const wchar_t* CQvLogFile::GetLogFilename()
{
    const QvLogLock lock;
    const CQvLogFile* const instance = LockedInstance();
    return instance ? instance->m_wsLogFilename : nullptr;
}

void CQvLogFile::SetMaxLogMessageLength(int length)
{
    std::atomic_ref(m_iMaxLogMessageLength).store(length, std::memory_order_relaxed);
}

void CQvLogFile::wtoc(char* target, const wchar_t* source)
{
    while (*source)
        *target++ = static_cast<char>(*source++ & 0xFF);
    *target = '\0';
}

void QvTraceExecutionTime(const wchar_t* text)
{
    DiagOutputExW_hlp(qv_logfile_source, __LINE__);
    DiagOutputExW(L"%s", text);
}
