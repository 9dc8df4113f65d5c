// Pipes and devices have names outside the file system, which no folder lists.
#include "regular_file.h"

namespace trace
{

bool is_regular_file(const WideText& path)
{
    constexpr DWORD others = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE;
    const DWORD attributes = GetFileAttributesW(path.data());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return false; // with its error
    SetLastError(ERROR_SUCCESS);
    return (attributes & others) == 0;
}

} // namespace trace
