// Paths in both forms. '\' and '/' both separate, "C:\" is the root directory, further drives come
// from PLINTH_DRIVES ("D=/mnt/data;E=/media/cd"); "C:" is the current folder, and "C:name" is below
// it, if that folder is on the drive, else the drive's root. A returned path has the drive and
// backslashes. "." and ".." are removed from the text of the path, before any folder is read.
#pragma once

#include <string>
#include <string_view>

#include <sys/stat.h>

namespace platform
{

inline constexpr size_t native_path_limit = 4096; // bytes, terminator included (PATH_MAX)

constexpr bool is_separator(wchar_t c)
{
    return c == L'\\' || c == L'/';
}

// The characters that no name on the system may have, wildcards included.
constexpr bool is_refused_in_names(unsigned c)
{
    return c < L' ' || c == L'<' || c == L'>' || c == L':' || c == L'"' || c == L'|' || c == L'?' ||
           c == L'*';
}

// Whether this is the current folder, which the system keeps open: it can't be moved or removed.
bool is_current_folder(const struct stat& found);

// The Windows form of an absolute native path: the drive with the longest matching root, and
// backslashes. UTF-8.
std::string windows_path(std::string_view native);

} // namespace platform
