// A Windows path in its native form, and the system errors of calls made with the path.
#pragma once

#include "path.h"
#include "system/last_error.h"
#include "windef.h"

namespace platform
{

// Whether the names of a path are checked.
enum class Names
{
    any,
    judged, // by judge_names
};

// The system error of a call that needs a folder and failed with ENOTDIR; a separator may follow.
// ERROR_DIRECTORY if something else has that name.
DWORD no_folder_error(const char* native_path);

// A native path in a buffer of its own, so that opening a file allocates nothing.
class NativePath
{
public:
    // Converts; ok() returns whether it worked, otherwise the last error is set: null or empty
    // ERROR_PATH_NOT_FOUND, over-long ERROR_FILENAME_EXCED_RANGE, unknown drive
    // ERROR_PATH_NOT_FOUND, an invalid name ERROR_INVALID_NAME.
    explicit NativePath(const wchar_t* path, Names names = Names::judged);
    bool ok() const { return m_ok; }
    const char* c_str() const { return m_text; }
    // Whether the path names a directory by a separator at its end.
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

} // namespace platform
