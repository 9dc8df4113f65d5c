// The Windows interface doesn't tell a pipe from a file before it is opened.
#include "regular_file.h"

#include <sys/stat.h>

namespace trace
{

std::optional<FileId> regular_file_id(const WideText& path)
{
    if (GetFileAttributesW(path.data()) == INVALID_FILE_ATTRIBUTES)
        return std::nullopt; // with its error
    struct stat found;
    const bool there = stat(native_path(path.data()).c_str(), &found) == 0;
    SetLastError(there ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND);
    if (!there || !S_ISREG(found.st_mode))
        return std::nullopt;
    return FileId{found.st_dev, found.st_ino};
}

} // namespace trace
