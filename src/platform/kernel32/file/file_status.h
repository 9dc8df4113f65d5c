// Checks of a file's status that several places need.
#pragma once

#include <sys/stat.h>

namespace platform
{

inline constexpr mode_t any_write_bit = 0222;

// Read-only is the absence of all write permission. It holds for root too, whom the kernel would
// allow to write.
inline bool has_no_write_bit(mode_t mode)
{
    return (mode & any_write_bit) == 0;
}
inline bool has_no_write_bit(const struct stat& found)
{
    return has_no_write_bit(found.st_mode);
}

// Whether both are one file, perhaps under two names. A file's number is reused once the file is
// deleted and closed everywhere: one of the two must be held open, or both read at once.
inline bool is_same_file(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

} // namespace platform
