// Copying, moving and deleting files by name.
//
// Moving and deleting act on a link itself; a copy follows links, at both ends.
//
// A copy replaces its target only when it is complete, so that a failure leaves the old target
// whole and no partial file. A file that is open through this interface can't be moved or deleted:
// none of its opens share deletion.
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include <strings.h>

#include "file_status.h"
#include "mapped_files.h"
#include "native_path.h"
#include "path.h"
#include "replacement_file.h"
#include "share_modes.h"
#include "system/calls.h"
#include "system/descriptor.h"
#include "system/exception_guard.h"
#include "system/last_error.h"
#include "system/write_all.h"
#include "windows.h"

using namespace platform;

namespace
{

constexpr size_t copy_piece = size_t{1} << 20;

bool is_read_only(const struct stat& found)
{
    return S_ISREG(found.st_mode) && has_no_write_bit(found);
}

// Copies the content. 0 or an errno.
int copy_content(int from, int to)
{
    // In the kernel if both file systems support it. A result of 0 at the start may also mean that
    // the file reports no size (as in /proc), so reading and writing then decide.
    for (;;)
    {
        const ssize_t count = sys::copy_file_range(from, to, copy_piece * 64);
        if (count > 0)
            continue;
        if (count == 0)
            break;
        if (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP ||
            errno == EBADF)
            break;
        return errno;
    }
    const std::unique_ptr<char[]> buffer(new (std::nothrow) char[copy_piece]);
    if (!buffer)
        return ENOMEM;
    for (;;)
    {
        const ssize_t got = sys::read(from, buffer.get(), copy_piece);
        if (got <= 0)
            return got == 0 ? 0 : errno;
        if (const int error = write_all(to, buffer.get(), static_cast<size_t>(got)))
            return error;
    }
}

// What may prevent replacing a target. 0 or a system error.
DWORD replace_blocked(const char* target)
{
    struct stat found;
    if (sys::lstat(target, &found) != 0 || S_ISLNK(found.st_mode))
        return 0;
    if (!S_ISREG(found.st_mode) || is_read_only(found))
        return ERROR_ACCESS_DENIED;
    return 0;
}

DWORD copy_file(const NativePath& source, const NativePath& target, bool fail_if_exists)
{
    ClaimedFile from(sys::open(source.c_str(), O_RDONLY));
    struct stat found;
    if (from < 0)
        return errno == ENOENT ? source.not_found_error() : system_error(errno);
    if (sys::fstat(from, &found) != 0)
        return system_error(errno);
    if (S_ISDIR(found.st_mode))
        return ERROR_ACCESS_DENIED;
    if (const DWORD error = from.claim({true, false, false, true, true}))
        return error;
    struct stat old;
    bool exists = sys::lstat(target.c_str(), &old) == 0;
    if (exists && fail_if_exists)
        return ERROR_FILE_EXISTS;
    char followed[native_path_limit];
    const char* end = target.c_str();
    if (exists && S_ISLNK(old.st_mode))
    {
        end = sys::realpath(target.c_str(), followed);
        exists = end && sys::stat(end, &old) == 0;
        if (!exists)
            return system_error(errno);
    }
    if (exists && is_same_file(old, found))
        return ERROR_SHARING_VIOLATION; // onto itself
    if (const DWORD error = replace_blocked(end))
        return error;
    if (const DWORD error = exists ? mapped_error(old) : 0)
        return error;
    if (const DWORD error = DeleteClaim(end).error())
        return error;
    // Renaming checks only the folder's permission.
    if (exists && sys::access(end, W_OK) != 0)
        return system_error(errno);

    ReplacementFile to(end);
    if (to.fd() < 0)
        return to.error() == ENOENT ? ERROR_PATH_NOT_FOUND : system_error(to.error());
    int error = copy_content(from, to.fd());
    const timespec times[2] = {{0, UTIME_OMIT}, found.st_mtim};
    if (!error &&
        (sys::fchmod(to.fd(), found.st_mode & 0777) != 0 || sys::futimens(to.fd(), times) != 0))
        error = errno;
    // Another process may have opened the target meanwhile.
    const DeleteClaim claim(end);
    if (!error && !claim.error())
        error = to.put(!fail_if_exists);
    return error ? system_error(error) : claim.error();
}

// The folder of a path.
bool stat_folder(const char* path, struct stat& folder)
{
    const char* const slash = std::strrchr(path, '/');
    char text[native_path_limit] = ".";
    if (slash)
    {
        const size_t length = std::max<size_t>(1, static_cast<size_t>(slash - path));
        std::memcpy(text, path, length);
        text[length] = '\0';
    }
    return sys::stat(text, &folder) == 0;
}

// Whether two names of one file are one entry of one folder, and not two hard links. Names that
// differ only in case may be one entry, depending on the folder.
bool is_same_entry(const char* a, const char* b)
{
    const auto name = [](const char* path)
    {
        const char* const slash = std::strrchr(path, '/');
        return slash ? slash + 1 : path;
    };
    struct stat folder_a;
    struct stat folder_b;
    return strcasecmp(name(a), name(b)) == 0 && stat_folder(a, folder_a) &&
           stat_folder(b, folder_b) && is_same_file(folder_a, folder_b);
}

bool is_onto_itself(const DeleteClaim& claim, const char* from, const char* to)
{
    return claim.status().st_nlink == 1 || S_ISDIR(claim.status().st_mode) ||
           is_same_entry(from, to);
}

BOOL move_without_replacing(const NativePath& from, const NativePath& to)
{
    const DeleteClaim source(from.c_str());
    if (source.error())
        return fail_with(source.error());
    if (rename_to_new(from.c_str(), to.c_str()) == 0)
        return TRUE;
    const int error = errno;
    struct stat old;
    if (error == EEXIST && sys::lstat(to.c_str(), &old) == 0 &&
        is_same_file(source.status(), old) && is_onto_itself(source, from.c_str(), to.c_str()))
        return TRUE;
    return to.fail(error, Context::directory);
}

BOOL move_replacing(const NativePath& from, const NativePath& to)
{
    DeleteClaim target;
    const DeleteClaim source(from.c_str(), target, to.c_str());
    if (source.error())
        return fail_with(source.error());
    const bool is_same = source.is_same_as(target);
    const bool is_further_name = is_same && !is_onto_itself(source, from.c_str(), to.c_str());
    // An open source is a sharing violation; a target that can't be replaced denies access.
    if ((!is_same || is_further_name) && (replace_blocked(to.c_str()) != 0 || target.error() ||
                                          (target.exists() && S_ISDIR(source.status().st_mode))))
        return fail_with(ERROR_ACCESS_DENIED);
    // For two names of the same file the kernel's rename does nothing.
    const int result =
        is_further_name ? sys::unlink(from.c_str()) : sys::rename(from.c_str(), to.c_str());
    return result == 0 ? TRUE : to.fail(errno);
}

} // namespace

extern "C" BOOL CopyFileW(LPCWSTR source, LPCWSTR target, BOOL fail_if_exists)
{
    const NativePath from(source);
    if (!from.ok())
        return FALSE;
    const NativePath to(target);
    if (!to.ok())
        return FALSE;
    try
    {
        const DWORD error = copy_file(from, to, fail_if_exists != 0);
        return error == 0 ? TRUE : fail_with(error);
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, FALSE);
    }
}

extern "C" BOOL MoveFileExW(LPCWSTR source, LPCWSTR target, DWORD flags)
try
{
    const NativePath from(source);
    if (!from.ok())
        return FALSE;
    const NativePath to(target);
    if (!to.ok())
        return FALSE;
    struct stat moved;
    if (sys::lstat(from.c_str(), &moved) != 0)
        return from.fail(errno);
    if (is_current_folder(moved))
        return fail_with(ERROR_SHARING_VIOLATION);
    return (flags & MOVEFILE_REPLACE_EXISTING) != 0 ? move_replacing(from, to)
                                                    : move_without_replacing(from, to);
}
catch (const std::exception& exception)
{
    return failed_by(exception, FALSE);
}

extern "C" BOOL DeleteFileW(LPCWSTR path)
{
    const NativePath native(path);
    struct stat found;
    if (!native.ok())
        return FALSE;
    if (sys::lstat(native.c_str(), &found) != 0)
        return native.fail(errno);
    if (S_ISDIR(found.st_mode) || is_read_only(found))
        return fail_with(ERROR_ACCESS_DENIED);
    const DeleteClaim claim(native.c_str());
    if (claim.error())
        return fail_with(claim.error());
    return sys::unlink(native.c_str()) == 0 ? TRUE : native.fail(errno);
}
