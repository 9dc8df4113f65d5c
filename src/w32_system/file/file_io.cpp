// Byte transfers, positions, locks and sizes of an open file. The system counts in 32 bits, the
// library in 64.
#include <windows.h>

#include "argument_check.h"
#include "async_io.h"
#include "file_internal.h"

namespace
{

constexpr const char* source_name = "src\\w32_system\\file\\file";

constexpr uint64_t chunk_limit = 0xFFFFFFFFu; // the most that one system call can move

// Walks a buffer of any length in chunks. Stops at the first call that fails; a call that moves
// less than it was asked for does not stop the walk.
template <class Byte, class Transfer>
bool MoveChunks(Byte* buffer, uint64_t size, uint64_t& done, Transfer transfer)
{
    for (uint64_t position = 0; position < size; position += chunk_limit)
    {
        const uint64_t rest = size - position;
        DWORD moved = 0;
        const bool good = transfer(
            buffer + position, static_cast<DWORD>(rest < chunk_limit ? rest : chunk_limit), &moved);
        done += moved;
        if (!good)
            return false;
    }
    return true;
}

} // namespace

extern "C" int QV_ReadFile(QvFile file, void* buffer, uint64_t size, uint64_t* done,
                           const QvAsyncIo* async)
{
    if (async)
        return QvTransferAsync(QV_ASYNC_READ, file, buffer, size, *async);
    if (done)
        *done = 0;
    uint64_t moved = 0;
    bool good = false;
    if (size <= chunk_limit)
    {
        DWORD count = 0;
        good = ReadFile(file, buffer, static_cast<DWORD>(size), &count, nullptr);
        moved = count;
    }
    else
        good = MoveChunks(static_cast<BYTE*>(buffer), size, moved,
                          [file](BYTE* to, DWORD count, DWORD* got)
                          { return ReadFile(file, to, count, got, nullptr) != 0; });
    if (done)
        *done = moved;
    return good ? QV_OK : QV_ERR_READFILE;
}

extern "C" int QV_WriteFile(QvFile file, const void* buffer, uint64_t size, uint64_t* done,
                            const QvAsyncIo* async)
{
    if (async) // a write only reads its buffer
        return QvTransferAsync(QV_ASYNC_WRITE, file, const_cast<void*>(buffer), size, *async);
    if (done)
        *done = 0;
    uint64_t moved = 0;
    bool good = false;
    if (size <= chunk_limit)
    {
        DWORD count = 0;
        good = WriteFile(file, buffer, static_cast<DWORD>(size), &count, nullptr);
        moved = count;
    }
    else
        good = MoveChunks(static_cast<const BYTE*>(buffer), size, moved,
                          [file](const BYTE* from, DWORD count, DWORD* put)
                          { return WriteFile(file, from, count, put, nullptr) != 0; });
    if (done)
        *done = moved;
    if (good)
        return QV_OK;
    return GetLastError() == ERROR_DISK_FULL ? QV_ERR_DISKFULL : QV_ERR_WRITEFILE;
}

extern "C" int QV_SeekFile(QvFile file, int64_t offset, int whence)
{
    static constexpr DWORD methods[] = {FILE_BEGIN, FILE_CURRENT, FILE_END};
    if (whence < 0 || whence > 2)
        return QvRefuse(QV_ERR_SEEKFILE, L"whence<0 || whence>2", L"QV_SeekFile: Wrong whence.",
                        source_name, __LINE__);
    LONG high = static_cast<LONG>(offset >> 32);
    const DWORD low = SetFilePointer(file, static_cast<LONG>(QvLow(static_cast<uint64_t>(offset))),
                                     &high, methods[whence]);
    if (low == INVALID_SET_FILE_POINTER && GetLastError() != NO_ERROR)
        return QV_ERR_SEEKFILE;
    return QV_OK;
}

extern "C" int QV_FilePosition(QvFile file, uint64_t* position)
{
    if (!position)
        return QvRefuse(QV_ERR_NULLPTR, L"position==NULL",
                        L"QV_FilePosition: No place for the position.", source_name, __LINE__);
    LONG high = 0;
    const DWORD low = SetFilePointer(file, 0, &high, FILE_CURRENT);
    if (low == INVALID_SET_FILE_POINTER && GetLastError() != NO_ERROR)
    {
        *position = 0;
        return QV_ERR_FILEPOSITION;
    }
    *position = QvJoin(static_cast<DWORD>(high), low);
    return QV_OK;
}

extern "C" int QV_SetEOF(QvFile file)
{
    return SetEndOfFile(file) ? QV_OK : QV_ERR_SETEOF;
}

extern "C" int QV_LockFile(QvFile file, uint64_t offset, uint64_t length)
{
    return LockFile(file, QvLow(offset), QvHigh(offset), QvLow(length), QvHigh(length))
               ? QV_OK
               : QV_ERR_LOCKFILE;
}

extern "C" int QV_UnlockFile(QvFile file, uint64_t offset, uint64_t length)
{
    return UnlockFile(file, QvLow(offset), QvHigh(offset), QvLow(length), QvHigh(length))
               ? QV_OK
               : QV_ERR_UNLOCKFILE;
}

extern "C" int QV_GetFileSize(QvFile file, uint64_t* size)
{
    DWORD high = 0;
    const DWORD low = GetFileSize(file, &high);
    const bool failed = low == INVALID_FILE_SIZE && GetLastError() != NO_ERROR;
    if (size)
        *size = failed ? 0 : QvJoin(high, low);
    return failed ? QV_ERR_FILESIZE : QV_OK;
}

extern "C" int QV_GetFileSizeFromName(const wchar_t* path, uint64_t* size)
{
    // A file that another process is writing can be opened only if the writing is shared.
    QvFile file = nullptr;
    int status = QV_OpenFile(path, QV_OPEN_READ, QV_SHARE_READ, QV_SECURITY_DEFAULT, &file);
    if (status != QV_OK)
        status = QV_OpenFile(path, QV_OPEN_READ, QV_SHARE_READ | QV_SHARE_WRITE,
                             QV_SECURITY_DEFAULT, &file);
    if (status != QV_OK)
        return status;
    status = QV_GetFileSize(file, size);
    QV_CloseFile(file);
    return status;
}
