// The small text files in which the kernel reports its figures (/proc, /sys).
#pragma once

#include <string>

namespace platform
{

// Reads a whole file of at most 1 MiB; anything beyond is left out. False with errno.
bool read_kernel_file(const std::string& path, std::string& text);

// The path to read instead of one of the kernel's: a different one once a test has set a root.
std::string kernel_path(const std::string& path);

} // namespace platform
