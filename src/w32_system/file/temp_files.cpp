// The temporary path and temporary names.
#include <cstdio>
#include <cstdlib>

#include <windows.h>

#include <tchar.h>

#include "file_internal.h"

namespace
{

constexpr unsigned path_limit = 260;       // characters of a temporary path, terminated
constexpr unsigned name_limit = 260 + 1;   // characters of a name, terminated
constexpr unsigned candidate_limit = 4400; // the longest directory of any system, and a name

// How often a free name is looked for. The random numbers have no more different values than this.
// The search must end if all names of the pattern are taken, or if a directory answers the same for
// all.
constexpr int attempt_limit = 32768;

wchar_t s_requestedTempPath[path_limit + 1]; // empty: none

bool HasPlaceholder(const wchar_t* pattern)
{
    return wcschr(pattern, L'$') != nullptr;
}

// Replaces each run of '$' by the number with at least as many digits; cuts at the limit.
void ExpandPattern(wchar_t (&name)[name_limit], const wchar_t* pattern, int number)
{
    size_t length = 0;
    const auto append = [&](wchar_t c)
    {
        if (length < name_limit - 1)
            name[length++] = c;
    };
    while (*pattern)
    {
        size_t run = 0;
        while (pattern[run] == L'$')
            ++run;
        if (run == 0)
        {
            append(*pattern++);
            continue;
        }
        wchar_t digits[16];
        _itow(number, digits, 10);
        for (size_t zeros = wcslen(digits); zeros < run && length < name_limit - 1; ++zeros)
            append(L'0');
        for (const wchar_t* digit = digits; *digit; ++digit)
            append(*digit);
        pattern += run;
    }
    name[length] = L'\0';
}

} // namespace

extern "C" int QV_SetRequestedTempPath(const wchar_t* path)
{
    const size_t length = path ? wcslen(path) : 0;
    if (length >= path_limit)
    {
        s_requestedTempPath[0] = L'\0';
        return QV_ERR_SYSTEM;
    }
    if (length)
        wcscpy(s_requestedTempPath, path);
    else
        s_requestedTempPath[0] = L'\0';
    if (length && path[length - 1] != L'\\')
        wcscat(s_requestedTempPath, L"\\");
    return QV_OK;
}

extern "C" int QV_GetTempPath(wchar_t* buffer, unsigned int size)
{
    const size_t length = wcslen(s_requestedTempPath);
    if (length && length < size)
    {
        wcscpy(buffer, s_requestedTempPath);
        return QV_OK;
    }
    return GetTempPathW(size, buffer) ? QV_OK : QV_ERR_TEMPPATH;
}

extern "C" int QV_GetTempFileName(const wchar_t* directory, const wchar_t* pattern, int create,
                                  wchar_t* result, unsigned int resultSize)
{
    wchar_t systemPath[path_limit + 1];
    if (!directory)
    {
        const int status = QV_GetTempPath(systemPath, path_limit + 1);
        if (status != QV_OK)
            return status;
        directory = systemPath;
    }
    const size_t length = wcslen(directory);
    const bool joined = length && QvIsSeparator(directory[length - 1]);

    // Seeded again at each call: two calls in one second try the same names.
    srand(static_cast<unsigned>(_time64(nullptr)));
    const int attempts = HasPlaceholder(pattern) ? attempt_limit : 1;
    wchar_t candidate[candidate_limit];
    int status = QV_ERR_OPENFILE;
    for (int attempt = 0; attempt < attempts && status != QV_OK; ++attempt)
    {
        wchar_t name[name_limit];
        ExpandPattern(name, pattern, rand());
        const int written = _snwprintf(candidate, candidate_limit - 1, L"%s%s%s", directory,
                                       joined ? L"" : L"\\", name);
        candidate[candidate_limit - 1] = L'\0';
        if (written < 0)
            break; // longer than any system's paths
        if (QV_AccessFile(candidate, 0) == QV_ERR_ACCESS)
            status = QV_OK;
    }

    if (status == QV_OK && create)
    {
        QvFile file = nullptr;
        status = QV_OpenFile(candidate, QV_OPEN_READ | QV_OPEN_WRITE | QV_OPEN_CREATE, 0,
                             QV_SECURITY_DEFAULT, &file);
        if (status == QV_OK)
            QV_CloseFile(file);
    }
    wcsncpy(result, candidate, resultSize);
    return status;
}
