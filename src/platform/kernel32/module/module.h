// The modules of a process by handle: files that were opened as data, and modules that were loaded,
// with the resources in their files.
//
// Whoever works on a module holds it, so that it stays while another thread frees it. What was
// handed out of it (places of resources) goes with the last FreeLibrary, or, if it was not loaded
// through here, some time after those who loaded it have unloaded it.
#pragma once

#include <memory>

#include "module_file.h"
#include "windef.h"

namespace platform
{

// Null, and ERROR_MOD_NOT_FOUND, for a handle that is none. A null handle and that of the program
// stand for the program's own file.
std::shared_ptr<Module> hold_module(HMODULE handle);

} // namespace platform
