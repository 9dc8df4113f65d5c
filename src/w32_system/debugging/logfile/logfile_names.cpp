// The names of log files, and which file a new instance uses.
#include <cstdio>
#include <cstdlib>

#include <windows.h>

#include <tchar.h>

#include "logfile_form.h"
#include "logfile_internal.h"

namespace
{

// Positions in a name "qvapp_YYYY-MM-DD_(NNNN).log".
constexpr size_t number_mark = 16;
constexpr size_t number_start = 18;
constexpr unsigned highest_number = 9999;

constexpr DWORD open_attributes = FILE_FLAG_RANDOM_ACCESS | FILE_ATTRIBUTE_NORMAL;
constexpr size_t date_limit = 32;

void FormatDate(wchar_t (&text)[date_limit], const QvLogDate& date)
{
    wsprintfW(text, L"_%04i-%02i-%02i", date.year, date.month, date.day);
}

} // namespace

unsigned QvLogNumber(const wchar_t* folder, const QvLogDate& date, bool newFile)
{
    wchar_t day[date_limit];
    FormatDate(day, date);
    wchar_t pattern[qv_folder_limit + 64];
    wcscpy(pattern, folder);
    wcscat(pattern, L"qvapp");
    wcscat(pattern, day);
    wcscat(pattern, L"*.log");

    unsigned number = 0;
    bool found = false;
    QvFindHandle search = nullptr;
    QvFindData entry = {};
    for (int status = QV_FindFileFirst(pattern, &search, &entry); status == QV_OK;
         status = QV_FindFileNext(search, &entry))
    {
        found = true;
        if (entry.name[number_mark] != L'_' || entry.name[number_mark + 1] != L'(')
            continue;
        const unsigned value = static_cast<unsigned>(_wtoi(entry.name + number_start));
        if (value > number)
            number = value;
    }
    if (search)
        QV_FindFileClose(search);
    if (newFile && found)
        ++number;
    return number > highest_number ? 0 : number;
}

void QvLogPath(wchar_t* path, const wchar_t* folder, const QvLogDate& date, unsigned number)
{
    wchar_t day[date_limit];
    FormatDate(day, date);
    wcscpy(path, folder);
    wcscat(path, L"qvapp");
    wcscat(path, day);
    if (number != 0)
        wsprintfW(path + wcslen(path), L"_(%04i)", static_cast<int>(number));
    wcscat(path, L".log");
}

QvLogSearch::QvLogSearch(const wchar_t* folder)
{
    wchar_t pattern[qv_folder_limit + 64];
    wcscpy(pattern, folder);
    wcscat(pattern, L"qvapp_\?\?\?\?-\?\?-\?\?*.log");
    m_status = QV_FindFileFirst(pattern, &m_search, &m_entry);
}

QvLogSearch::~QvLogSearch()
{
    if (m_search)
        QV_FindFileClose(m_search);
}

const wchar_t* QvLogSearch::Next()
{
    if (m_hasBegun)
        m_status = QV_FindFileNext(m_search, &m_entry);
    while (m_status == QV_OK && m_entry.isDirectory)
        m_status = QV_FindFileNext(m_search, &m_entry);
    m_hasBegun = true;
    return m_status == QV_OK ? m_entry.name : nullptr;
}

int QvOpenLogFile(const wchar_t* path, QvFile* file)
{
    // With the right to append but not to write elsewhere, the system makes each write an append.
    const HANDLE handle =
        CreateFileW(path, GENERIC_READ | FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_ALWAYS, open_attributes, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return QV_ERR_OPENFILE;
    *file = handle;
    return QV_OK;
}

// Opens the file that this instance writes, m_wsLogFilename, into m_hFile: beginning with number,
// the first file that is empty or has the wanted form.
bool CQvLogFile::OpenForDate(const wchar_t* folder, const QvLogDate& date, unsigned& number)
{
    for (;; ++number)
    {
        QvLogPath(m_wsLogFilename, folder, date, number);
        if (QvOpenLogFile(m_wsLogFilename, &m_hFile) != QV_OK)
            return false;
        if (QvMayAppend(QvWantedForm(), QvFormOf(m_hFile)))
            return true;
        // A file never has mixed forms: leave this one unchanged and try the next number.
        QV_CloseFile(m_hFile);
    }
}
