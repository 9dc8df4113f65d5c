// The limits of the log and whether it is per session, which the machine's registry keeps.
#include <windows.h>

#include "logfile_internal.h"

namespace
{

// One REG_DWORD of the key. False if it is missing or of another type or size.
bool ReadNumber(HKEY key, const wchar_t* name, DWORD& number)
{
    DWORD type = 0;
    DWORD size = 0;
    if (RegQueryValueExW(key, name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS ||
        type != REG_DWORD || size != sizeof number)
        return false;
    DWORD value = 0;
    if (RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<LPBYTE>(&value), &size) !=
        ERROR_SUCCESS)
        return false;
    number = value;
    return true;
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

void CQvLogFile::ReadSettings()
{
    HKEY key = nullptr;
    if (RegOpenKeyW(HKEY_LOCAL_MACHINE, qv_logfile_key, &key) != ERROR_SUCCESS)
        return;
    DWORD number = 0;
    if (ReadNumber(key, qv_value_days, number))
        m_uMaxLogDays = number;
    if (ReadNumber(key, qv_value_megabytes, number))
        m_uMaxLogMBytes = number == 0 ? qv_no_limit : number;
    if (ReadNumber(key, qv_value_per_session, number))
        m_bPerSession = number > 0;
    RegCloseKey(key);
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
