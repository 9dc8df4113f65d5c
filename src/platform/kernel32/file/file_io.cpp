// Transfers, positions and sizes.
//
// Linux moves at most 0x7ffff000 bytes in a call. A transfer continues until all bytes have moved,
// the file ends or an error occurs; a full transfer of less than that is exactly one call.
#include <algorithm>

#include "file_object.h"
#include "mapped_files.h"
#include "windows.h"

using namespace platform;

namespace
{

constexpr size_t call_limit = 0x7ffff000;

// A 64-bit result as the system returns it: the low half, the high one through the pointer. A low
// half that looks like a failure comes with the last error 0.
DWORD split_result(uint64_t value, DWORD* high)
{
    const DWORD low = static_cast<DWORD>(value);
    if (high)
        *high = static_cast<DWORD>(value >> 32);
    else if (value > 0xFFFFFFFFu)
    {
        fail_with(ERROR_INVALID_PARAMETER);
        return INVALID_SET_FILE_POINTER;
    }
    if (low == INVALID_SET_FILE_POINTER)
        fail_with(NO_ERROR);
    return low;
}

} // namespace

extern "C" BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD size, LPDWORD done, LPOVERLAPPED)
{
    if (done)
        *done = 0;
    const Pin<FileObject> object(file);
    if (!object)
        return FALSE;
    if (!object->readable())
        return fail_with(ERROR_ACCESS_DENIED);
    DWORD moved = 0;
    BOOL good = TRUE;
    while (moved < size)
    {
        const ssize_t count = sys::read(object->fd(), static_cast<char*>(buffer) + moved,
                                        std::min<size_t>(size - moved, call_limit));
        if (count < 0)
        {
            good = fail_errno(errno);
            break;
        }
        moved += static_cast<DWORD>(count);
        if (count == 0 || !object->regular()) // a pipe or a terminal returns what it has
            break;
    }
    if (done)
        *done = moved;
    return good;
}

extern "C" BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD size, LPDWORD done, LPOVERLAPPED)
{
    if (done)
        *done = 0;
    const Pin<FileObject> object(file);
    if (!object)
        return FALSE;
    if (!object->writable())
        return fail_with(ERROR_ACCESS_DENIED);
    DWORD moved = 0;
    BOOL good = TRUE;
    while (moved < size)
    {
        const ssize_t count = object->on_fd(
            [&](int fd)
            {
                return sys::write(fd, static_cast<const char*>(buffer) + moved,
                                  std::min<size_t>(size - moved, call_limit));
            });
        if (count <= 0)
        {
            good = count < 0 ? fail_errno(errno) : fail_with(ERROR_WRITE_FAULT);
            break;
        }
        moved += static_cast<DWORD>(count);
    }
    if (done)
        *done = moved;
    return good;
}

extern "C" DWORD SetFilePointer(HANDLE file, LONG low, PLONG high, DWORD method)
{
    static constexpr int whences[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    const Pin<FileObject> object(file);
    if (!object)
        return INVALID_SET_FILE_POINTER;
    if (method > FILE_END)
    {
        fail_with(ERROR_INVALID_PARAMETER);
        return INVALID_SET_FILE_POINTER;
    }
    // Without a high half the low one is signed.
    const int64_t distance =
        high ? static_cast<int64_t>((static_cast<uint64_t>(static_cast<DWORD>(*high)) << 32) |
                                    static_cast<DWORD>(low))
             : low;
    const off_t position = sys::lseek(object->fd(), distance, whences[method]);
    if (position < 0)
    {
        fail_with(errno == EINVAL ? ERROR_NEGATIVE_SEEK : system_error(errno));
        return INVALID_SET_FILE_POINTER;
    }
    return split_result(static_cast<uint64_t>(position), reinterpret_cast<DWORD*>(high));
}

extern "C" DWORD GetFileSize(HANDLE file, LPDWORD high)
{
    const Pin<FileObject> object(file);
    struct stat found;
    if (!object)
        return INVALID_FILE_SIZE;
    if (sys::fstat(object->fd(), &found) != 0)
    {
        fail_errno(errno);
        return INVALID_FILE_SIZE;
    }
    return split_result(static_cast<uint64_t>(found.st_size), high);
}

extern "C" BOOL SetEndOfFile(HANDLE file)
{
    const Pin<FileObject> object(file);
    if (!object)
        return FALSE;
    if (!object->writable())
        return fail_with(ERROR_ACCESS_DENIED);
    const off_t position = sys::lseek(object->fd(), 0, SEEK_CUR);
    if (position < 0)
        return fail_errno(errno);
    const DWORD error = set_length(object->fd(), position);
    return error == 0 ? TRUE : fail_with(error);
}

// The space that a file has on its volume. Less than its length cuts the file; more is reserved
// after its end, without changing the length, and stays reserved when the file is closed.
extern "C" BOOL SetFileInformationByHandle(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind,
                                           LPVOID information, DWORD size)
{
    const Pin<FileObject> object(file);
    if (!object)
        return FALSE;
    if (kind != FileAllocationInfo)
        return fail_with(ERROR_INVALID_PARAMETER);
    if (size < sizeof(FILE_ALLOCATION_INFO))
        return fail_with(ERROR_BAD_LENGTH);
    if (!object->writable())
        return fail_with(ERROR_ACCESS_DENIED);
    const int64_t room = static_cast<FILE_ALLOCATION_INFO*>(information)->AllocationSize.QuadPart;
    if (room < 0)
        return fail_with(ERROR_INVALID_PARAMETER);
    struct stat found;
    if (sys::fstat(object->fd(), &found) != 0)
        return fail_errno(errno);
    if (room == found.st_size)
        return TRUE;
    if (room > found.st_size)
        return sys::fallocate(object->fd(), FALLOC_FL_KEEP_SIZE, found.st_size,
                              room - found.st_size) == 0
                   ? TRUE
                   : fail_errno(errno);
    const DWORD error = set_length(object->fd(), room);
    return error == 0 ? TRUE : fail_with(error);
}

extern "C" BOOL FlushFileBuffers(HANDLE file)
{
    const Pin<FileObject> object(file);
    if (!object)
        return FALSE;
    if (!object->writable())
        return fail_with(ERROR_ACCESS_DENIED);
    return sys::fsync(object->fd()) == 0 ? TRUE : fail_errno(errno);
}
