// The file of a loaded module.
//
// An upgrade replaces or removes such files while the program runs. The file at a module's path is
// accepted as its own only if both have the same build id; for a module without one, only if the
// file is the mapped one.
#pragma once

#include "loaded_modules.h"

namespace platform
{

// Opens the file for reading by its path, or through the kernel's link where that is allowed, which
// it always is for the program's own file. -1, with errno, if the module's file can't be opened;
// ESTALE if another file has its path.
int open_image_file(const LoadedModule& module);

// Whether an open file is the file of the module.
bool is_image_file(int fd, const LoadedModule& module);

} // namespace platform
