// The steps of reads, writes and copies, on the synchronous operations.
#include "async_steps.h"

#include <algorithm>
#include <atomic>

#include <windows.h>

namespace
{

// A file that grows block by block has the file system look for room at each block. Told of so much
// at once, a copy of 64 MiB takes a tenth less time, as one of all of it would; a copy that is
// killed leaves no more than this behind its end.
constexpr uint64_t reserve_size = uint64_t{1} << 20;

// Whether the volume could do it shows when the bytes come.
void ReserveTarget(const QvAsyncRequest& request, uint64_t sourceSize)
{
    if (request.copied % reserve_size != 0 || sourceSize < request.copied + reserve_size)
        return;
    uint64_t end = 0; // room for less than there is would cut what somebody else has written
    if (QV_GetFileSize(request.target, &end) != QV_OK || end != request.copied)
        return;
    const uint64_t size = request.copied + reserve_size;
    FILE_ALLOCATION_INFO room;
    room.AllocationSize.QuadPart = static_cast<LONGLONG>(size);
    SetFileInformationByHandle(request.target, FileAllocationInfo, &room, sizeof room);
}

bool ReportTransfer(const QvAsyncRequest& request, int status)
{
    if (request.completion)
        request.completion(status, request.total - request.remaining, request.context);
    return status == QV_ERR_INPROGRESS;
}

bool ReportCopy(const QvAsyncRequest& request, int status, uint64_t size)
{
    if (request.copyCompletion)
        request.copyCompletion(status, size, request.copied, request.context);
    return status == QV_ERR_INPROGRESS;
}

// The position belongs to the handle and others may have moved it since the last step.
bool TransferStep(QvAsyncRequest& request)
{
    int status = QV_SeekFile(request.file, static_cast<int64_t>(request.offset), 0);
    if (status != QV_OK)
        return ReportTransfer(request, status);

    const uint64_t wanted = std::min(request.remaining, QV_ASYNC_BLOCK_SIZE);
    uint64_t moved = 0;
    status = request.kind == QV_ASYNC_READ
                 ? QV_ReadFile(request.file, request.buffer, wanted, &moved, nullptr)
                 : QV_WriteFile(request.file, request.buffer, wanted, &moved, nullptr);
    if (status != QV_OK)
        return ReportTransfer(request, status);

    request.offset += moved;
    request.remaining -= moved;
    request.buffer += moved;
    if (request.remaining == 0)
        return ReportTransfer(request, QV_OK);
    if (moved != 0)
        return ReportTransfer(request, QV_ERR_INPROGRESS);
    // Nothing more will come: a read has reached the end of the file and ends like a synchronous
    // one, a write has lost its bytes.
    return ReportTransfer(request, request.kind == QV_ASYNC_READ ? QV_OK : QV_ERR_WRITEFILE);
}

// A failed read has been reported when its bytes, if it brought any, are written, and a lost size
// stops nothing: the copy takes what it can get.
bool CopyStep(QvAsyncRequest& request)
{
    uint64_t size = 0;
    int status = QV_GetFileSize(request.file, &size);
    if (status != QV_OK)
        ReportCopy(request, status, 0);

    uint64_t got = 0;
    status = QV_ReadFile(request.file, request.buffer, QV_ASYNC_BLOCK_SIZE, &got, nullptr);
    if (status != QV_OK)
        ReportCopy(request, status, size);
    if (got == 0)
        return ReportCopy(request, QV_OK, size);

    ReserveTarget(request, size);
    uint64_t written = 0;
    status = QV_WriteFile(request.target, request.buffer, got, &written, nullptr);
    if (status == QV_OK && written != got)
        status = QV_ERR_WRITEFILE;
    if (status != QV_OK)
        return ReportCopy(request, status, size);

    request.copied += written;
    if (written < QV_ASYNC_BLOCK_SIZE)
        return ReportCopy(request, QV_OK, size);
    ReportCopy(request, QV_ERR_INPROGRESS, size);

    // The caller's word is only read; the way to read a word atomically takes it as one that isn't
    // constant.
    if (request.proceed && std::atomic_ref(const_cast<uint32_t&>(*request.proceed)).load() == 0)
        return ReportCopy(request, QV_ERR_CANCELLED, size);
    return true;
}

} // namespace

bool QvAsyncStep(QvAsyncRequest& request) noexcept
{
    switch (request.kind)
    {
    case QV_ASYNC_READ:
    case QV_ASYNC_WRITE:
        return TransferStep(request);
    case QV_ASYNC_COPY:
        return CopyStep(request);
    default:
        return false;
    }
}
