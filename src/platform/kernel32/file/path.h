// Paths in both forms. '\' and '/' both separate, "C:" is the root directory, further drives come
// from PLINTH_DRIVES ("D=/mnt/data;E=/media/cd"); "C:name" is below the current folder if that is
// on the drive, else below the drive's root. A path that comes back has the drive and backslashes.
// "." and ".." are taken out by the letters of the path, before any folder is looked at.
#pragma once

#include <string>
#include <string_view>

#include <sys/stat.h>

#include "system/last_error.h"
#include "windef.h"

namespace platform
{

inline constexpr size_t native_path_limit = 4096; // bytes, terminator included (PATH_MAX)

// Whether the names of a path are looked at.
enum class Names
{
    any,
    judged, // by judge_names
};

// The characters that no name has on the system, wildcards included.
constexpr bool is_refused_in_names(unsigned c)
{
    return c < L' ' || c == L'<' || c == L'>' || c == L':' || c == L'"' || c == L'|' || c == L'?' ||
           c == L'*';
}

// The system error of a call that wants a folder and failed with ENOTDIR; a separator may follow.
// ERROR_DIRECTORY if something else has that name.
DWORD no_folder_error(const char* native_path);

// Whether this is the current folder, which the system keeps open: it can't be moved or removed.
bool is_current_folder(const struct stat& found);

// A native path in a buffer of its own, so that opening a file allocates nothing.
class NativePath
{
public:
    // Converts; ok() tells whether it worked, otherwise the last error is set: null or empty
    // ERROR_PATH_NOT_FOUND, over-long ERROR_FILENAME_EXCED_RANGE, unknown drive
    // ERROR_PATH_NOT_FOUND, a name that can't be ERROR_INVALID_NAME.
    explicit NativePath(const wchar_t* path, Names names = Names::judged);
    bool ok() const { return m_ok; }
    const char* c_str() const { return m_text; }
    // The path named a directory by a separator at its end.
    bool ends_in_separator() const { return m_separator; }
    // The system error of "not found": ERROR_FILE_NOT_FOUND if the parent directory exists,
    // ERROR_PATH_NOT_FOUND otherwise.
    DWORD not_found_error() const;
    // Sets the last error for a call on this path that failed with an errno, and returns FALSE. A
    // path that ends with a separator but names no folder has an invalid name.
    BOOL fail(int error, Context context = Context::general) const;
    // The same for a call that needs a folder: ERROR_DIRECTORY if the path names something else.
    BOOL fail_as_folder(int error) const;

private:
    void convert(const wchar_t* path, Names names);
    bool judge(size_t root);

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
