// The file of the running program.
//
// An upgrade renames, replaces or removes that file while the program runs. The path reported is
// the one that the file had when this library was loaded; its content is read through the kernel's
// own link to the running file, even if another file has its path now.
#pragma once

namespace platform
{

// Opens the running file, even if it no longer has a name.
inline constexpr const char* program_link = "/proc/self/exe";

// Absolute native path, kept since this library was loaded. Empty, with errno, if the kernel didn't
// report it; each call then tries again.
const char* program_path();

// Removes the text that the kernel appends to a path when the file no longer has a name, unless a
// file has that very name.
char* without_removal_mark(char* path);

} // namespace platform
