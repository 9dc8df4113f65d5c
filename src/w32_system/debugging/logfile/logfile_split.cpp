// How a running log changes to a new file, how old files are removed, and how the limits are
// changed.
#include <cstdlib>
#include <ctime>

#include <windows.h>

#include <tchar.h>

#include "logfile_internal.h"

namespace
{

// Positions in a name "qvapp_YYYY-MM-DD".
constexpr size_t year_start = 6;
constexpr size_t month_start = 11;
constexpr size_t day_start = 14;

constexpr uint32_t seconds_per_day = 86'400;

// The age in seconds of the date in a file's name; only the name counts. The current time of day is
// used for that date, so the age is in whole days.
double AgeOf(const wchar_t* name, __time64_t now, const struct tm& local)
{
    struct tm date = local;
    date.tm_year = _wtoi(name + year_start) - 1900;
    date.tm_mon = _wtoi(name + month_start) - 1;
    date.tm_mday = _wtoi(name + day_start);
    return _difftime64(now, _mktime64(&date));
}

bool StoreNumber(HKEY key, const wchar_t* name, DWORD number)
{
    return RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                          sizeof number) == ERROR_SUCCESS;
}

enum class Stored
{
    yes,
    no_key,
    failed
};

Stored StoreSetting(const wchar_t* name, DWORD number)
{
    HKEY key = nullptr;
    if (RegCreateKeyW(HKEY_LOCAL_MACHINE, qv_logfile_key, &key) != ERROR_SUCCESS)
        return Stored::no_key;
    const bool good = StoreNumber(key, name, number);
    RegCloseKey(key);
    return good ? Stored::yes : Stored::failed;
}

} // namespace

void QvRemoveOldLogs(const wchar_t* folder, uint32_t days)
{
    const __time64_t now = _time64(nullptr);
    const struct tm* const found = _localtime64(&now);
    if (!found)
        return;
    const struct tm local = *found;
    // Calculated in 32 bits and used as signed: a limit of very many days can result in no limit.
    const auto limit = static_cast<int32_t>(days * seconds_per_day);

    wchar_t pattern[qv_folder_limit + 64];
    wcscpy(pattern, folder);
    wcscat(pattern, L"qvapp_\?\?\?\?-\?\?-\?\?*.log");
    QvFindHandle search = nullptr;
    QvFindData entry = {};
    // The search returns the oldest names first, so the scan ends at the first file that is young
    // enough, or that can't be removed. A folder, or a link to one, is no log, whatever its name:
    // it would end each scan.
    for (int status = QV_FindFileFirst(pattern, &search, &entry); status == QV_OK;
         status = QV_FindFileNext(search, &entry))
    {
        if (entry.isDirectory)
            continue;
        if (!(AgeOf(entry.name, now, local) > limit))
            break;
        wchar_t path[qv_folder_limit + MAX_PATH];
        wcscpy(path, folder);
        wcscat(path, entry.name);
        if (QV_RemoveFile(path, 1) != QV_OK)
            break;
    }
    if (search)
        QV_FindFileClose(search);
}

// Needs m_classLock. If two threads see that the limit is exceeded, the second finds the new
// instance.
int CQvLogFile::SplitFile(CQvLogFile* instance)
{
    QvLogDate today;
    if (!QvLogToday(today))
        return QV_ERR_SYSTEM;
    wchar_t folder[qv_folder_limit];
    wcsncpy(folder, instance->m_wsLogFilename, qv_folder_limit - 1);
    folder[qv_folder_limit - 1] = L'\0';
    if (wchar_t* const last = wcsrchr(folder, L'\\'))
        last[1] = L'\0';

    // The next file is created first: if that fails, the old one stays in use.
    wchar_t path[sizeof instance->m_wsLogFilename / sizeof(wchar_t)];
    QvLogPath(path, folder, today, QvLogNumber(folder, today, true));
    QvFile file = nullptr;
    const int status = QvOpenLogFile(path, &file);
    if (status != QV_OK)
        return status;
    QV_CloseFile(file);

    DropLockedInstance();
    return LockedInstance() && QvIsLogEnabled() ? QV_OK : QV_ERR_SYSTEM;
}

bool CQvLogFile::IsPerSession()
{
    const QvLogLock lock;
    const CQvLogFile* const instance = LockedInstance();
    return instance && instance->m_bPerSession;
}

int CQvLogFile::LogPerSession(bool perSession)
{
    const QvLogLock lock;
    CQvLogFile* const instance = LockedInstance();
    if (!instance)
        return QV_ERR_SYSTEM;
    HKEY key = nullptr;
    if (RegOpenKeyW(HKEY_LOCAL_MACHINE, qv_logfile_key, &key) != ERROR_SUCCESS &&
        RegCreateKeyW(HKEY_LOCAL_MACHINE, qv_logfile_key, &key) != ERROR_SUCCESS)
        return QV_ERR_SYSTEM;
    const bool stored = StoreNumber(key, qv_value_per_session, perSession);
    if (stored)
        instance->m_bPerSession = perSession;
    RegCloseKey(key);
    return stored ? QV_OK : QV_ERR_SYSTEM;
}

int CQvLogFile::SetProperties(int maxLogMBytes, int maxLogDays)
{
    const struct
    {
        const wchar_t* name;
        DWORD value;
        uint32_t CQvLogFile::*field;
    } settings[] = {
        {qv_value_megabytes, static_cast<DWORD>(maxLogMBytes), &CQvLogFile::m_uMaxLogMBytes},
        {qv_value_days, static_cast<DWORD>(maxLogDays), &CQvLogFile::m_uMaxLogDays}};
    for (const auto& setting : settings)
        switch (StoreSetting(setting.name, setting.value))
        {
        case Stored::no_key:
            break; // this limit is not changed
        case Stored::failed:
            return QV_ERR_SYSTEM;
        case Stored::yes:
        {
            const QvLogLock lock;
            if (CQvLogFile* const instance = LockedInstance())
                instance->*setting.field = setting.value;
            break;
        }
        }
    return QV_OK;
}
