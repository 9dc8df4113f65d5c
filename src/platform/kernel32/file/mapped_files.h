// The files that have a mapping or a view in this process. The system doesn't let them be
// shortened: reading a page that no longer exists would end the process.
#pragma once

#include <compare>

#include <sys/stat.h>

#include "windef.h"

namespace platform
{

// Identifies a file. A mapping or a view keeps the numbers from being reused for another file.
struct FileNumbers
{
    dev_t device = 0;
    ino_t inode = 0; // 0: no file
    auto operator<=>(const FileNumbers&) const = default;
};

// Counts one mapping or view; empty numbers are ignored. False without memory.
bool hold_mapped(const FileNumbers& file);
void release_mapped(const FileNumbers& file);

// Sets the length of an open file. 0 or a system error: ERROR_USER_MAPPED_FILE if it would be
// shortened and is mapped.
DWORD set_length(int fd, off_t length);

// ERROR_USER_MAPPED_FILE if the file is mapped and has content, else 0.
DWORD mapped_error(const struct stat& file);

} // namespace platform
