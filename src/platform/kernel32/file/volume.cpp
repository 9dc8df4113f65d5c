// Volumes, drives and the temporary folder.
#include <string>

#include <linux/magic.h>

#include "drives.h"
#include "native_path.h"
#include "path.h"
#include "system/calls.h"
#include "system/environment.h"
#include "system/exception_guard.h"
#include "system/last_error.h"
#include "system/text.h"
#include "windows.h"

using namespace platform;

namespace
{

// Numbers of file systems, from statfs, that the kernel's header doesn't name.
constexpr uint64_t cifs_magic = 0xFF534D42;
constexpr uint64_t smb2_magic = 0xFE534D42;
constexpr uint64_t udf_magic = 0x15013346;

UINT type_of(uint64_t magic)
{
    switch (magic)
    {
    case NFS_SUPER_MAGIC:
    case SMB_SUPER_MAGIC:
    case cifs_magic:
    case smb2_magic:
        return DRIVE_REMOTE;
    case ISOFS_SUPER_MAGIC:
    case udf_magic:
        return DRIVE_CDROM;
    case TMPFS_MAGIC:
    case RAMFS_MAGIC:
        return DRIVE_RAMDISK;
    default:
        return DRIVE_FIXED;
    }
}

// A null path means the current directory.
LPCWSTR path_or_current(LPCWSTR path)
{
    return path ? path : L".";
}

// Whether a volume begins there: at a drive's root, or in a folder where another file system is
// mounted. A path that names no folder counts as a root, so that the call that uses it reports the
// error.
bool is_volume_root(const NativePath& native)
{
    constexpr size_t root_length = 3; // "C:\"
    const std::string path = native.c_str();
    struct stat folder;
    struct stat parent;
    if (path.front() == '/' && windows_path(path).size() == root_length)
        return true;
    return sys::stat(path.c_str(), &folder) != 0 || !S_ISDIR(folder.st_mode) ||
           sys::stat((path + "/..").c_str(), &parent) != 0 || parent.st_dev != folder.st_dev;
}

// 0 or a system error. Without a path, the root of the current folder's volume.
DWORD judge_root(LPCWSTR path, const NativePath& native)
{
    if (!path)
        return 0;
    const wchar_t last = path[wide_length(path) - 1];
    if (last != L'\\' && last != L'/')
        return ERROR_INVALID_NAME;
    return is_volume_root(native) ? 0 : ERROR_DIR_NOT_ROOT;
}

} // namespace

extern "C" BOOL GetDiskFreeSpaceExW(LPCWSTR path, PULARGE_INTEGER free_to_caller,
                                    PULARGE_INTEGER total, PULARGE_INTEGER total_free)
{
    const NativePath native(path_or_current(path));
    struct statvfs found;
    if (!native.ok())
        return FALSE;
    struct stat folder;
    if (sys::stat(native.c_str(), &folder) != 0 || sys::statvfs(native.c_str(), &found) != 0)
        return native.fail_as_folder(errno);
    if (!S_ISDIR(folder.st_mode))
        return fail_with(ERROR_DIRECTORY);
    const uint64_t unit = found.f_frsize;
    if (free_to_caller)
        free_to_caller->QuadPart = found.f_bavail * unit;
    if (total)
        total->QuadPart = found.f_blocks * unit;
    if (total_free)
        total_free->QuadPart = found.f_bfree * unit;
    return TRUE;
}

extern "C" DWORD GetTempPathW(DWORD size, LPWSTR buffer)
try
{
    // Callers rely on no temporary path being longer than this.
    constexpr size_t limit = MAX_PATH + 1; // characters, terminator included
    for (const char* name : {"TMPDIR", "TMP", "TEMP"})
    {
        const char* const value = environment(name);
        if (!value || *value != '/')
            continue;
        std::string folder = value;
        if (folder.back() != '/')
            folder += '/';
        folder = windows_path(folder);
        if (copy_to_caller(folder, nullptr, 0) <= limit)
            return copy_to_caller(folder, buffer, size);
    }
    return copy_to_caller(windows_path("/tmp/"), buffer, size);
}
catch (const std::exception& exception)
{
    return failed_by(exception, DWORD{0});
}

extern "C" DWORD GetLogicalDriveStringsW(DWORD size, LPWSTR buffer)
try
{
    int error = 0;
    if (api_fault("GetLogicalDriveStringsW", error))
        return static_cast<DWORD>(fail_with(static_cast<DWORD>(error)));
    std::string letters = drive_letters();
    const DWORD units = static_cast<DWORD>(letters.size()) * 4; // "C:\" and its terminator
    if (size < units + 1 || !buffer)
        return units + 1;
    for (const char letter : letters)
    {
        *buffer++ = static_cast<wchar_t>(letter);
        *buffer++ = L':';
        *buffer++ = L'\\';
        *buffer++ = L'\0';
    }
    *buffer = L'\0';
    return units;
}
catch (const std::exception& exception)
{
    return failed_by(exception, DWORD{0});
}

extern "C" UINT GetDriveTypeW(LPCWSTR root)
try
{
    // A drive without a separator is the drive's root for this call alone.
    const bool is_drive = root && root[0] && root[1] == L':' && !root[2];
    const wchar_t drive[] = {is_drive ? root[0] : L'\0', L':', L'\\', L'\0'};
    const NativePath native(is_drive ? drive : path_or_current(root));
    struct statfs found;
    if (!native.ok() || sys::statfs(native.c_str(), &found) != 0)
        return DRIVE_NO_ROOT_DIR;
    if (root && !is_volume_root(native))
        return DRIVE_NO_ROOT_DIR;
    // The system's own drive is fixed, even if a container mounts its root from elsewhere.
    if (std::string_view(native.c_str()) == "/")
        return DRIVE_FIXED;
    return type_of(static_cast<uint64_t>(found.f_type));
}
catch (const std::exception& exception)
{
    return failed_by(exception, UINT{DRIVE_UNKNOWN});
}

extern "C" BOOL GetVolumeInformationW(LPCWSTR root, LPWSTR name, DWORD name_size, LPDWORD serial,
                                      LPDWORD max_component, LPDWORD flags, LPWSTR file_system,
                                      DWORD file_system_size)
try
{
    const NativePath native(path_or_current(root));
    struct statvfs found;
    if (!native.ok())
        return FALSE;
    if (const DWORD error = judge_root(root, native))
        return fail_with(error);
    if (sys::statvfs(native.c_str(), &found) != 0)
        return native.fail(errno);
    if ((name && !name_size) || (file_system && !file_system_size))
        return fail_with(ERROR_BAD_LENGTH);
    // Labels can only be read from the devices, by root, so a volume's label is empty.
    if (name)
        name[0] = L'\0';
    if (serial)
        *serial = static_cast<DWORD>(found.f_fsid);
    if (max_component)
        *max_component = static_cast<DWORD>(found.f_namemax);
    if (flags)
        *flags = 0;
    if (file_system)
        file_system[0] = L'\0';
    return TRUE;
}
catch (const std::exception& exception)
{
    return failed_by(exception, FALSE);
}
