#include "logfile_append.h"

#include <algorithm>
#include <cstring>

#include "logfile_form.h"

namespace
{

constexpr unsigned char mark[] = {0xFF, 0xFE};

bool IsSameFile(const BY_HANDLE_FILE_INFORMATION& a, const BY_HANDLE_FILE_INFORMATION& b)
{
    return a.dwVolumeSerialNumber == b.dwVolumeSerialNumber &&
           a.nFileIndexHigh == b.nFileIndexHigh && a.nFileIndexLow == b.nFileIndexLow;
}

// Whether both open files are the same file.
bool IsSameFile(QvFile a, QvFile b)
{
    BY_HANDLE_FILE_INFORMATION first;
    BY_HANDLE_FILE_INFORMATION second;
    return GetFileInformationByHandle(a, &first) && GetFileInformationByHandle(b, &second) &&
           IsSameFile(first, second);
}

// Whether the file has these bytes at the position.
bool HasBytes(QvFile file, uint64_t position, const void* bytes, uint64_t size)
{
    constexpr uint64_t piece = 256;
    char found[piece];
    const char* expected = static_cast<const char*>(bytes);
    if (QV_SeekFile(file, static_cast<int64_t>(position), 0) != QV_OK)
        return false;
    for (uint64_t done = 0; done < size;)
    {
        const uint64_t wanted = std::min(piece, size - done);
        uint64_t got = 0;
        if (QV_ReadFile(file, found, wanted, &got, nullptr) != QV_OK || got != wanted ||
            std::memcmp(found, expected + done, wanted) != 0)
            return false;
        done += wanted;
    }
    return true;
}

// Removes the first bytes of a record if they are the end of the file: written by this handle, with
// nothing after them. Needs the gate. Cutting needs the right to write, which the log's own handle
// doesn't have. So the file is opened by its path; a renamed one is not cut.
bool TakeBack(const QvLogTarget& log, const void* bytes, uint64_t size)
{
    uint64_t end = 0;
    uint64_t position = 0;
    if (QV_FilePosition(log.file, &position) != QV_OK || QV_GetFileSize(log.file, &end) != QV_OK ||
        position != end || end < size || !HasBytes(log.file, end - size, bytes, size))
        return false;
    QvFile cutter = nullptr;
    if (QV_OpenFile(log.path, QV_OPEN_READ | QV_OPEN_WRITE, QV_SHARE_READ | QV_SHARE_WRITE,
                    QV_SECURITY_DEFAULT, &cutter) != QV_OK)
        return false;
    uint64_t endNow = 0;
    const bool cut = IsSameFile(log.file, cutter) &&
                     QV_SeekFile(cutter, static_cast<int64_t>(end - size), 0) == QV_OK &&
                     QV_GetFileSize(cutter, &endNow) == QV_OK && endNow == end &&
                     QV_SetEOF(cutter) == QV_OK;
    QV_CloseFile(cutter);
    return cut;
}

// Writes the first bytes of a file that was just found empty.
int BeginFile(const QvLogTarget& log, const QvRecord& record, ULONGLONG deadline, uint64_t& written)
{
    const QvFormGate gate(log.file, deadline);
    const QvLogForm found = gate.Passed() ? QvFormOf(log.file) : QvLogForm::unknown;
    if (!gate.Passed() || !QvMayAppend(QvWantedForm(), found))
        return qv_file_lost;
    uint64_t marked = 0;
    int status = QV_OK;
    if (found == QvLogForm::empty && CQvLogFile::m_bUnicodeEnabled)
        status = QvAppendRecord(log, {mark, sizeof mark}, marked, true);
    if (status == QV_OK)
        status = QvAppendRecord(log, record, written, true);
    written += marked;
    return status;
}

} // namespace

int QvTakeBackRecord(const QvLogTarget& log, const QvRecord& record, bool hasGate, int status,
                     uint64_t& written)
{
    const DWORD error = GetLastError();
    if (written > 0 && written < record.size)
    {
        bool taken = false;
        if (hasGate)
            taken = TakeBack(log, record.bytes, written);
        else
        {
            const QvFormGate gate(log.file, GetTickCount64() + qv_gate_patience);
            taken = gate.Passed() && TakeBack(log, record.bytes, written);
        }
        if (taken)
            written = 0;
    }
    SetLastError(error);
    return error == ERROR_INVALID_HANDLE ? qv_file_lost : status;
}

int QvAppendFirst(const QvLogTarget& log, const QvRecord& record, ULONGLONG deadline,
                  uint64_t& written)
{
    written = 0;
    // A file with content keeps its form, so no gate is needed.
    const QvLogForm found = QvFormOf(log.file);
    if (found == QvLogForm::empty)
        return BeginFile(log, record, deadline, written);
    return QvMayAppend(QvWantedForm(), found) ? QvAppendRecord(log, record, written) : qv_file_lost;
}

bool QvIsLogGone(const QvLogTarget& log)
{
    BY_HANDLE_FILE_INFORMATION open;
    if (!GetFileInformationByHandle(log.file, &open))
        return GetLastError() == ERROR_INVALID_HANDLE;
    if (open.nNumberOfLinks != 0)
        return false;
    const HANDLE named = CreateFileW(log.path, 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                     OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (named == INVALID_HANDLE_VALUE)
        return true;
    BY_HANDLE_FILE_INFORMATION there;
    const bool gone = !GetFileInformationByHandle(named, &there) || !IsSameFile(open, there);
    CloseHandle(named);
    return gone;
}
