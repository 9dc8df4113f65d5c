// File times and other information of open files.
#include "file_stamp.h"

#include "file_attributes.h"
#include "file_object.h"
#include "file_time.h"
#include "windows.h"

using namespace platform;

namespace
{

// Reads a time that a caller wants to set. It becomes null if the file's time is to stay as it is,
// which the caller requests by null, by zero or by all ones. (On Windows all ones also keep later
// use of the handle from changing the time.) False if the value is not a time.
bool read_time(const FILETIME*& time)
{
    constexpr DWORD sign = 0x80000000;
    if (!time)
        return true;
    const bool all_ones = (time->dwLowDateTime & time->dwHighDateTime) == ~DWORD{0};
    if (all_ones || (time->dwLowDateTime | time->dwHighDateTime) == 0)
        time = nullptr;
    return !time || (time->dwHighDateTime & sign) == 0;
}

// Whether every file system can hold such a time.
bool is_common(const FILETIME* time)
{
    return !time || to_timespec(*time).tv_sec == static_cast<int32_t>(to_timespec(*time).tv_sec);
}

// Sets times as futimens does. For a time that it can't hold, a file system stores the nearest one
// and reports no error. Such a time is read back, and if it differs from the one asked for, the
// former times are restored. 0 or a system error.
DWORD set_times(int fd, const FILETIME* access, const FILETIME* write)
{
    const timespec times[2] = {access ? to_timespec(*access) : timespec{0, UTIME_OMIT},
                               write ? to_timespec(*write) : timespec{0, UTIME_OMIT}};
    struct stat before;
    struct stat after;
    const bool looks = !is_common(access) || !is_common(write);
    if ((looks && sys::fstat(fd, &before) != 0) || sys::futimens(fd, times) != 0 ||
        (looks && sys::fstat(fd, &after) != 0))
        return system_error(errno);
    if (!looks || ((!access || after.st_atim.tv_sec == times[0].tv_sec) &&
                   (!write || after.st_mtim.tv_sec == times[1].tv_sec)))
        return 0;
    const timespec former[2] = {before.st_atim, before.st_mtim};
    sys::futimens(fd, former);
    return ERROR_INVALID_PARAMETER;
}

// If the program has closed a log's descriptor, the log is opened again for this call.
bool look_at(const FileObject& file, struct statx& found)
{
    constexpr unsigned wanted = STATX_BASIC_STATS | STATX_BTIME;
    file.check_fd();
    return file.on_fd([&](int fd) { return sys::statx(fd, "", AT_EMPTY_PATH, wanted, &found); }) ==
           0;
}

FileStamps stamps_of_open(int fd, const struct statx& found)
{
    FILETIME kept;
    const bool has_kept = sys::fgetxattr(fd, creation_attribute, &kept, sizeof kept) == sizeof kept;
    return stamps_of(found, has_kept ? &kept : nullptr);
}

} // namespace

namespace platform
{

FileStamps stamps_of(const struct statx& found, const FILETIME* kept)
{
    const auto convert = [](const statx_timestamp& stamp)
    { return to_file_time(stamp.tv_sec, static_cast<long>(stamp.tv_nsec)); };
    FileStamps stamps;
    stamps.access = convert(found.stx_atime);
    stamps.write = convert(found.stx_mtime);
    if (kept)
        stamps.creation = *kept;
    else if (found.stx_mask & STATX_BTIME)
        stamps.creation = convert(found.stx_btime);
    else
        stamps.creation = stamps.write;
    return stamps;
}

} // namespace platform

extern "C" BOOL GetFileTime(HANDLE file, LPFILETIME creation, LPFILETIME access, LPFILETIME write)
{
    const Pin<FileObject> object(file);
    if (!object)
        return FALSE;
    struct statx found;
    if (!look_at(*object, found))
        return fail_errno(errno);
    const FileStamps stamps = stamps_of_open(object->fd(), found);
    if (creation)
        *creation = stamps.creation;
    if (access)
        *access = stamps.access;
    if (write)
        *write = stamps.write;
    return TRUE;
}

extern "C" BOOL SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* access,
                            const FILETIME* write)
{
    const Pin<FileObject> object(file);
    if (!object)
        return FALSE;
    if (!object->writable())
        return fail_with(ERROR_ACCESS_DENIED);
    if (!read_time(creation) || !read_time(access) || !read_time(write))
        return fail_with(ERROR_INVALID_PARAMETER);
    if (access || write)
        if (const DWORD error = set_times(object->fd(), access, write))
            return fail_with(error);
    // A file system without extended attributes keeps showing its birth time.
    if (creation &&
        sys::fsetxattr(object->fd(), creation_attribute, creation, sizeof *creation, 0) &&
        errno != EOPNOTSUPP && errno != EPERM)
        return fail_errno(errno);
    return TRUE;
}

// The file's index is the number of its inode. The volume's serial number tells volumes apart, but
// is not the one of GetVolumeInformationW.
extern "C" BOOL GetFileInformationByHandle(HANDLE file, LPBY_HANDLE_FILE_INFORMATION information)
{
    constexpr unsigned half = 32; // bits
    constexpr unsigned minor_bits = 20;
    const Pin<FileObject> object(file);
    if (!object)
        return FALSE;
    struct statx found;
    if (!look_at(*object, found))
        return fail_errno(errno);
    const FileStamps stamps = stamps_of_open(object->fd(), found);
    *information = {.dwFileAttributes = attributes_of(found.stx_mode, false),
                    .ftCreationTime = stamps.creation,
                    .ftLastAccessTime = stamps.access,
                    .ftLastWriteTime = stamps.write,
                    .dwVolumeSerialNumber = found.stx_dev_major << minor_bits | found.stx_dev_minor,
                    .nFileSizeHigh = static_cast<DWORD>(found.stx_size >> half),
                    .nFileSizeLow = static_cast<DWORD>(found.stx_size),
                    .nNumberOfLinks = found.stx_nlink,
                    .nFileIndexHigh = static_cast<DWORD>(found.stx_ino >> half),
                    .nFileIndexLow = static_cast<DWORD>(found.stx_ino)};
    return TRUE;
}
