// The file that a loaded module was made from.
//
// An upgrade replaces or removes such files while the program runs. The file at a module's path is
// taken for its own only if both have the same build id; a module without one, if the file is the
// one that is mapped.
#pragma once

#include "loaded_modules.h"

namespace platform
{

// Opens the file for reading, by its path, or past it where the kernel allows that: the program's
// own always. -1, with errno, if the module's file can't be had; ESTALE if another has its place.
int open_image_file(const LoadedModule& module);

// Whether an open file is the one that the module was made from.
bool is_image_file(int fd, const LoadedModule& module);

} // namespace platform
