// Directories: creating them with their parents, removing them with their content, testing them.
#include <cstdio>

#include <windows.h>

#include <io.h>
#include <tchar.h>

#include "file_internal.h"

namespace
{

constexpr unsigned parent_limit = 260; // characters of a path whose parents are created, terminated
constexpr unsigned child_limit = 264;  // characters of a path in a recursive removal, terminated

// The first separator at or after a position, null if there is none.
wchar_t* NextSeparator(wchar_t* from)
{
    for (; *from; ++from)
        if (QvIsSeparator(*from))
            return from;
    return nullptr;
}

// Where the walk over the parents starts: after the server and the share of a UNC path, which are
// no directories and are never created.
wchar_t* FirstParentEnd(wchar_t* path)
{
    const bool rooted = QvIsSeparator(path[0]);
    if (!(rooted && QvIsSeparator(path[1])))
        return NextSeparator(rooted ? path + 1 : path);
    wchar_t* const serverEnd = NextSeparator(path + 2);
    if (!serverEnd)
        return nullptr;
    wchar_t* const shareEnd = NextSeparator(serverEnd + 1);
    return shareEnd ? NextSeparator(shareEnd + 1) : nullptr;
}

bool MakeParents(const wchar_t* path)
{
    wchar_t copy[parent_limit];
    wcsncpy(copy, path, parent_limit - 1);
    copy[parent_limit - 1] = L'\0';
    for (wchar_t* end = FirstParentEnd(copy); end; end = NextSeparator(end + 1))
    {
        const wchar_t separator = *end;
        *end = L'\0';
        if (GetFileAttributesW(copy) == INVALID_FILE_ATTRIBUTES && !CreateDirectoryW(copy, nullptr))
        {
            // Another process may have created it in the meantime.
            if (GetLastError() != ERROR_ALREADY_EXISTS)
                return false;
        }
        *end = separator;
    }
    return true;
}

// Joins a directory and an entry's name. False if the result has no room.
bool JoinChild(wchar_t (&child)[child_limit], const wchar_t* directory, const wchar_t* name)
{
    const int length = _snwprintf(child, child_limit - 1, L"%s\\%s", directory, name);
    child[child_limit - 1] = L'\0';
    return length >= 0;
}

int RemoveChildDirectory(const wchar_t* child, DWORD attributes)
{
    // A link to a directory is removed itself; its target is elsewhere and stays.
    if (attributes & FILE_ATTRIBUTE_REPARSE_POINT)
        return QV_RemoveDirectory(child);
    return QV_RemoveDirectoryRecursively(child);
}

void RemoveEntry(const wchar_t* directory, const WIN32_FIND_DATAW& entry)
{
    // "." and "..", and all other names that begin with a dot.
    if (entry.cFileName[0] == L'.')
        return;
    wchar_t child[child_limit];
    const bool fits = JoinChild(child, directory, entry.cFileName);
    if (!(entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
    {
        if (fits)
            QV_RemoveFile(child, 0);
        return;
    }
    if (fits && RemoveChildDirectory(child, entry.dwFileAttributes) == QV_OK)
        return;
    if (entry.cAlternateFileName[0] && JoinChild(child, directory, entry.cAlternateFileName))
        RemoveChildDirectory(child, entry.dwFileAttributes);
}

} // namespace

extern "C" int QV_CreateDirectory(const wchar_t* path, int recursive, int)
{
    constexpr int read_and_write = 6;
    if (!path)
        return QV_ERR_CREATEDIR;
    if (_waccess(path, read_and_write) == 0)
        return QV_OK;
    if (recursive && !MakeParents(path))
        return QV_ERR_CREATEDIR;
    if (CreateDirectoryW(path, nullptr) || GetLastError() == ERROR_ALREADY_EXISTS)
        return QV_OK;
    return QV_ERR_CREATEDIR;
}

extern "C" int QV_RemoveDirectory(const wchar_t* path)
{
    return RemoveDirectoryW(path) ? QV_OK : QV_ERR_REMOVEDIR;
}

extern "C" int QV_RemoveDirectoryRecursively(const wchar_t* path)
{
    if (!path || !path[0])
        return QV_ERR_SYSTEM;
    // The room for a path limits the depth of the recursion: each level takes at least two
    // characters.
    wchar_t pattern[child_limit];
    WIN32_FIND_DATAW entry;
    if (JoinChild(pattern, path, L"*"))
    {
        const HANDLE search = FindFirstFileW(pattern, &entry);
        if (search != INVALID_HANDLE_VALUE)
        {
            do
                RemoveEntry(path, entry);
            while (FindNextFileW(search, &entry));
            FindClose(search);
        }
    }
    return QV_RemoveDirectory(path);
}

extern "C" bool QV_IsDirectoryWritable(const wchar_t* path)
{
    constexpr unsigned probe_limit = 4200; // the longest path of any system, and the probe's name
    if (!path)
        return false;
    // The name follows the last separator or colon and ends before its last dot.
    const wchar_t* name = path;
    for (const wchar_t* at = path; *at; ++at)
        if (QvIsSeparator(*at) || *at == L':')
            name = at + 1;
    const wchar_t* const dot = wcsrchr(name, L'.');
    const bool hasName = *name && dot != name;

    wchar_t probe[probe_limit];
    const int length =
        hasName ? _snwprintf(probe, probe_limit - 1, L"%s.tested", path)
                : _snwprintf(probe, probe_limit - 1, L"%.*s%s", static_cast<int>(name - path), path,
                             L"file_451_124_54545.tested");
    if (length < 0)
        return false;
    probe[probe_limit - 1] = L'\0';

    QvFile file = nullptr;
    QV_OpenFile(probe, QV_OPEN_WRITE | QV_OPEN_CREATE | QV_OPEN_ALWAYS, QV_SHARE_WRITE,
                QV_SECURITY_DEFAULT, &file);
    if (!file)
        return false;
    QV_CloseFile(file);
    QV_RemoveFile(probe, 0);
    return true;
}

extern "C" int QV_GetCurrentDirectory(wchar_t* buffer, unsigned int size)
{
    return GetCurrentDirectoryW(size, buffer) ? QV_OK : QV_ERR_GETCURDIR;
}

extern "C" int QV_SetCurrentDirectory(const wchar_t* path)
{
    return SetCurrentDirectoryW(path) ? QV_OK : QV_ERR_SETCURDIR;
}
