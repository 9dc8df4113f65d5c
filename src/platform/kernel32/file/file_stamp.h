// The three times that a file carries, shared by open files and searches.
#pragma once

#include <sys/stat.h>

#include "winbase.h"

namespace platform
{

// The name under which a creation time that was set is kept: eight bytes, a FILETIME, low word
// first. File systems without extended attributes show their own birth time.
inline constexpr const char* creation_attribute = "user.plinth.creation";

struct FileStamps
{
    FILETIME creation;
    FILETIME access;
    FILETIME write;
};

// From statx; a stored creation time replaces its birth time (kept may be null).
FileStamps stamps_of(const struct statx& found, const FILETIME* kept);

} // namespace platform
