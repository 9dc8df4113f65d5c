// Making, removing and changing directories.
#include <string>

#include "native_path.h"
#include "path.h"
#include "system/calls.h"
#include "system/exception_guard.h"
#include "system/last_error.h"
#include "system/text.h"
#include "windows.h"

using namespace platform;

extern "C" BOOL CreateDirectoryW(LPCWSTR path, LPSECURITY_ATTRIBUTES)
{
    const NativePath native(path);
    if (!native.ok())
        return FALSE;
    if (sys::mkdir(native.c_str(), 0777) == 0)
        return TRUE;
    // If a parent folder is missing, the error is that the path is not found.
    return fail_with(errno == ENOENT ? ERROR_PATH_NOT_FOUND
                                     : system_error(errno, Context::directory));
}

extern "C" BOOL RemoveDirectoryW(LPCWSTR path)
{
    const NativePath native(path);
    if (!native.ok())
        return FALSE;
    struct stat found = {};
    // A link to a directory counts as a directory; only the link is removed.
    const bool is_there = sys::lstat(native.c_str(), &found) == 0;
    if (is_there && is_current_folder(found))
        return fail_with(ERROR_SHARING_VIOLATION);
    if (is_there && S_ISLNK(found.st_mode) && sys::stat(native.c_str(), &found) == 0 &&
        S_ISDIR(found.st_mode))
        return sys::unlink(native.c_str()) == 0 ? TRUE : native.fail(errno);
    return sys::rmdir(native.c_str()) == 0 ? TRUE : native.fail_as_folder(errno);
}

extern "C" DWORD GetCurrentDirectoryW(DWORD size, LPWSTR buffer)
try
{
    char current[native_path_limit];
    if (!sys::getcwd(current, sizeof current))
    {
        fail_errno(errno);
        return 0;
    }
    return copy_to_caller(windows_path(current), buffer, size);
}
catch (const std::exception& exception)
{
    return failed_by(exception, DWORD{0});
}

extern "C" BOOL SetCurrentDirectoryW(LPCWSTR path)
try
{
    const NativePath native(path);
    if (!native.ok())
        return FALSE;
    return sys::chdir(native.c_str()) == 0 ? TRUE : native.fail_as_folder(errno);
}
catch (const std::exception& exception)
{
    return failed_by(exception, FALSE);
}
