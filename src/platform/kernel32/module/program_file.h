// The file of the program that runs.
//
// An upgrade renames, replaces or removes that file while the program runs. Its path stays the one
// that it had when this library was loaded, and its content is read through the kernel's own link
// to the running file, whatever has its path now.
#pragma once

namespace platform
{

// Opens as the running file, also when it has no name any more.
inline constexpr const char* program_link = "/proc/self/exe";

// Absolute native path, kept from the load of this library on. Empty, with errno, if the kernel
// didn't tell it; each call then asks again.
const char* program_path();

// Takes off the end of a path what the kernel adds when the file has no name any more, unless a
// file is really called so.
char* without_removal_mark(char* path);

} // namespace platform
