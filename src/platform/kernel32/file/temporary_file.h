// The name of a temporary file, which then replaces a file in one step.
#pragma once

#include <string>

namespace platform
{

// The first characters of each temporary file's name; 16 hexadecimal digits follow.
inline constexpr char temporary_beginning[] = ".plinth-copy-";

// A name beside the target that is not in use and can't be guessed. Make the file with O_EXCL.
// Empty, with errno, if the system returns no random numbers. With a beginning, the name is the
// target's, the beginning and the part that can't be guessed.
std::string temporary_beside(const std::string& target, const char* beginning = nullptr);

} // namespace platform
