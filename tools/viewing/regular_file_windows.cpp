// Pipes and devices have names outside the file system, which no folder lists. A file is known by
// the time when it was made: asking for its number would open it.
#include "regular_file.h"

namespace trace
{

std::optional<FileId> regular_file_id(const WideText& path)
{
    constexpr DWORD others = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE;
    WIN32_FILE_ATTRIBUTE_DATA found{};
    if (!GetFileAttributesExW(path.data(), GetFileExInfoStandard, &found))
        return std::nullopt; // with its error
    SetLastError(ERROR_SUCCESS);
    if ((found.dwFileAttributes & others) != 0)
        return std::nullopt;
    return FileId{found.ftCreationTime.dwHighDateTime, found.ftCreationTime.dwLowDateTime};
}

std::optional<FileId> open_file_id(HANDLE file)
{
    BY_HANDLE_FILE_INFORMATION found;
    if (!GetFileInformationByHandle(file, &found))
        return std::nullopt;
    return FileId{found.ftCreationTime.dwHighDateTime, found.ftCreationTime.dwLowDateTime};
}

} // namespace trace
