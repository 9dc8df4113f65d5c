// Operations on files by name.
#include <windows.h>

#include "async_io.h"
#include "file_internal.h"

extern "C" int QV_AccessFile(const wchar_t* path, int mode)
{
    constexpr int want_write = 0x02;
    // Otherwise an unready removable drive would raise a dialog.
    const UINT former = SetErrorMode(SEM_FAILCRITICALERRORS);
    const DWORD attributes = GetFileAttributesW(path);
    SetErrorMode(former);
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return QV_ERR_ACCESS;
    if ((attributes & FILE_ATTRIBUTE_READONLY) && (mode & want_write))
        return QV_ERR_READONLY;
    return QV_OK;
}

extern "C" int QV_CopyFile(const wchar_t* source, const wchar_t* target, int failIfExists,
                           const volatile uint32_t* proceed, QvCopyCompletion completion,
                           void* context)
{
    if (proceed || completion)
        return QvCopyAsync(source, target, failIfExists != 0, proceed, completion, context);
    if (CopyFileW(source, target, failIfExists))
        return QV_OK;
    switch (GetLastError())
    {
    case ERROR_FILE_EXISTS:
        return QV_ERR_FILEEXISTS;
    case ERROR_ACCESS_DENIED:
        return QV_ERR_ACCESS;
    default:
        return QV_ERR_COPYFILE;
    }
}

extern "C" int QV_MoveFile(const wchar_t* source, const wchar_t* target, int failIfExists,
                           const volatile uint32_t* proceed, QvCopyCompletion completion,
                           void* context)
{
    // The system is not allowed to copy: our own copy makes the callbacks.
    if (MoveFileExW(source, target, failIfExists ? 0 : MOVEFILE_REPLACE_EXISTING))
        return QV_OK;
    switch (GetLastError())
    {
    case ERROR_NOT_SAME_DEVICE:
        return QV_CopyFile(source, target, failIfExists, proceed, completion, context);
    case ERROR_ACCESS_DENIED:
        return QV_ERR_ACCESS;
    case ERROR_SHARING_VIOLATION:
        return QV_ERR_SHARING;
    default:
        return QV_ERR_MOVEFILE;
    }
}

extern "C" int QV_ReplaceFile(const wchar_t* replacement, const wchar_t* target,
                              const wchar_t* backup, const volatile uint32_t* proceed,
                              QvCopyCompletion completion, void* context)
{
    const int status = QV_MoveFile(target, backup, 0, proceed, completion, context);
    if (status != QV_OK)
        return status;
    return QV_MoveFile(replacement, target, 0, proceed, completion, context);
}

extern "C" int QV_RemoveFile(const wchar_t* path, int strict)
{
    // A read-only file can't be deleted. If the attributes can't be read or set, the deletion below
    // reports why.
    const DWORD attributes = GetFileAttributesW(path);
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY))
        SetFileAttributesW(path, attributes & ~FILE_ATTRIBUTE_READONLY);
    if (DeleteFileW(path))
        return QV_OK;
    const DWORD error = GetLastError();
    if (!strict && (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND))
        return QV_OK;
    return error == ERROR_ACCESS_DENIED ? QV_ERR_ACCESS : QV_ERR_REMOVEFILE;
}

extern "C" int QV_SearchPath(const wchar_t* path, const wchar_t* name, const wchar_t* extension,
                             wchar_t* buffer, unsigned int size)
{
    wchar_t* part = nullptr;
    return SearchPathW(path, name, extension, size, buffer, &part) ? QV_OK : QV_ERR_SEARCHPATH;
}
