// The Windows interface doesn't distinguish a pipe from a file before it is opened.
#include "regular_file.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace trace
{

namespace
{

constexpr unsigned minor_bits = 20; // of a device, in the volume's number of an open file

} // namespace

std::optional<FileId> regular_file_id(const WideText& path)
{
    if (GetFileAttributesW(path.data()) == INVALID_FILE_ATTRIBUTES)
        return std::nullopt; // the last error remains
    struct stat found;
    const bool there = stat(native_path(path.data()).c_str(), &found) == 0;
    SetLastError(there ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND);
    if (!there || !S_ISREG(found.st_mode))
        return std::nullopt;
    const uint64_t volume = uint64_t{major(found.st_dev)} << minor_bits | minor(found.st_dev);
    return FileId{static_cast<DWORD>(volume), found.st_ino};
}

std::optional<FileId> open_file_id(HANDLE file)
{
    BY_HANDLE_FILE_INFORMATION found;
    if (!GetFileInformationByHandle(file, &found))
        return std::nullopt;
    return FileId{found.dwVolumeSerialNumber,
                  uint64_t{found.nFileIndexHigh} << 32 | found.nFileIndexLow};
}

// The id is the number of the file on its volume, which no other file has.
bool are_one_file(const WideText&, const WideText&)
{
    return true;
}

} // namespace trace
