// Pipes and devices have names outside the file system, which no folder lists. A file is identified
// by its time of creation, because asking for its number would open it. Only files that were
// created at the same time are opened, to distinguish them.
#include "regular_file.h"

namespace trace
{

namespace
{

// The volume, and the file's number on it; nothing if the file can't be opened.
std::optional<FileId> file_number(const WideText& path)
{
    // Without any access right: this affects no other program, and no share mode forbids it.
    const HANDLE file =
        CreateFileW(path.data(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return std::nullopt;
    BY_HANDLE_FILE_INFORMATION found;
    const bool is_known = GetFileInformationByHandle(file, &found) != FALSE;
    CloseHandle(file);
    if (!is_known)
        return std::nullopt;
    return FileId{found.dwVolumeSerialNumber,
                  uint64_t{found.nFileIndexHigh} << 32 | found.nFileIndexLow};
}

} // namespace

std::optional<FileId> regular_file_id(const WideText& path)
{
    constexpr DWORD others = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE;
    WIN32_FILE_ATTRIBUTE_DATA found{};
    if (!GetFileAttributesExW(path.data(), GetFileExInfoStandard, &found))
        return std::nullopt; // the last error remains
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

bool are_one_file(const WideText& path, const WideText& other)
{
    const std::optional<FileId> number = file_number(path);
    return number && number == file_number(other);
}

} // namespace trace
