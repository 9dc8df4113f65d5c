// Paths in both forms. '\' and '/' both separate, "C:" is the root directory, further drives come
// from PLINTH_DRIVES ("D=/mnt/data;E=/media/cd"); "C:name" is below the current folder if that is
// on the drive, else below the drive's root. A path that comes back has the drive and backslashes.
// "." and ".." are taken out by the letters of the path, before any folder is looked at.
#pragma once

#include <string>
#include <string_view>

#include "system/last_error.h"
#include "windef.h"

namespace platform
{

inline constexpr size_t native_path_limit = 4096; // bytes, terminator included (PATH_MAX)

// A native path in a buffer of its own, so that opening a file allocates nothing.
class NativePath
{
public:
    // Converts; ok() tells whether it worked, otherwise the last error is set: null or empty
    // ERROR_PATH_NOT_FOUND, over-long ERROR_FILENAME_EXCED_RANGE, unknown drive
    // ERROR_PATH_NOT_FOUND, a wildcard ERROR_INVALID_NAME.
    explicit NativePath(const wchar_t* path);
    bool ok() const { return m_ok; }
    const char* c_str() const { return m_text; }
    // The path named a directory by a separator at its end.
    bool ends_in_separator() const { return m_separator; }
    // The system error of "not found": ERROR_FILE_NOT_FOUND if the parent directory exists,
    // ERROR_PATH_NOT_FOUND otherwise.
    DWORD not_found_error() const;
    // Sets the last error for a call on this path that failed with an errno, and gives FALSE.
    BOOL fail(int error, Context context = Context::general) const;

private:
    void convert(const wchar_t* path);

    char m_text[native_path_limit];
    bool m_ok = false;
    bool m_separator = false;
};

// The Windows form of an absolute native path: the drive with the longest matching root, and
// backslashes. UTF-8.
std::string windows_path(std::string_view native);

// The letters of all drives, "C" first.
std::string drive_letters();

} // namespace platform
