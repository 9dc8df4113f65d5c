// How a running log changes to a new file.
#include <windows.h>

#include <tchar.h>

#include "logfile_internal.h"

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
