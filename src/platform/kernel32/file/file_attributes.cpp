// Attributes by path. The read-only attribute is the absence of all write permission.
#include "file_attributes.h"

#include "file_status.h"
#include "native_path.h"
#include "windows.h"

using namespace platform;

namespace
{

constexpr mode_t owner_write_bit = 0200;

} // namespace

namespace platform
{

DWORD attributes_of(mode_t mode, bool is_link)
{
    DWORD attributes = 0;
    if (S_ISDIR(mode))
        attributes |= FILE_ATTRIBUTE_DIRECTORY;
    if (has_no_write_bit(mode) && (S_ISREG(mode) || S_ISDIR(mode)))
        attributes |= FILE_ATTRIBUTE_READONLY;
    if (is_link)
        attributes |= FILE_ATTRIBUTE_REPARSE_POINT;
    return attributes ? attributes : FILE_ATTRIBUTE_NORMAL;
}

} // namespace platform

extern "C" DWORD GetFileAttributesW(LPCWSTR path)
{
    const NativePath native(path);
    struct stat found;
    if (!native.ok())
        return INVALID_FILE_ATTRIBUTES;
    if (sys::stat(native.c_str(), &found) != 0)
    {
        native.fail(errno);
        return INVALID_FILE_ATTRIBUTES;
    }
    return attributes_of(found.st_mode, false);
}

extern "C" BOOL SetFileAttributesW(LPCWSTR path, DWORD attributes)
{
    const NativePath native(path);
    struct stat found;
    if (!native.ok())
        return FALSE;
    if (sys::lstat(native.c_str(), &found) != 0)
        return native.fail(errno);
    // On Windows the attribute has no effect on a folder either, while here its permissions have
    // one: they stay. A link has no permissions, and its target is not meant.
    if (S_ISDIR(found.st_mode) || S_ISLNK(found.st_mode))
        return TRUE;
    mode_t mode = found.st_mode & 07777;
    if (attributes & FILE_ATTRIBUTE_READONLY)
        mode &= ~any_write_bit;
    else if (has_no_write_bit(mode))
        mode |= owner_write_bit;
    if (mode != (found.st_mode & 07777) && sys::chmod(native.c_str(), mode) != 0)
        return native.fail(errno);
    return TRUE;
}
