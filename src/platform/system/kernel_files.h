// The small text files in which the kernel tells its figures (/proc, /sys).
#pragma once

#include <string>

namespace platform
{

// Reads a whole file of at most 1 MiB; what lies beyond is left out. False with errno.
bool read_kernel_file(const std::string& path, std::string& text);

// The path that really stands for one of the kernel's: another one once a test has set a root.
std::string kernel_path(const std::string& path);

} // namespace platform
