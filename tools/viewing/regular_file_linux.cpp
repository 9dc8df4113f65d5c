// The Windows interface doesn't tell a pipe from a file before it is opened.
#include "regular_file.h"

#include <sys/stat.h>

namespace trace
{

bool is_regular_file(const WideText& path)
{
    if (GetFileAttributesW(path.data()) == INVALID_FILE_ATTRIBUTES)
        return false; // with its error
    struct stat found;
    const bool there = stat(native_path(path.data()).c_str(), &found) == 0;
    SetLastError(there ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND);
    return there && S_ISREG(found.st_mode);
}

} // namespace trace
