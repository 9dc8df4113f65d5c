// The modules of a process by handle: files that were opened as data, and modules that were loaded,
// with the resources in their files.
//
// A call that works on a module holds it, so that it stays valid while another thread frees it.
// Addresses of resources are valid until the last FreeLibrary or, if the module was not loaded
// through here, until some time after its other users have unloaded it.
#pragma once

#include <memory>

#include "module_file.h"
#include "windef.h"

namespace platform
{

// Null, and ERROR_MOD_NOT_FOUND, for an invalid handle. A null handle and that of the program refer
// to the program's own file.
std::shared_ptr<Module> hold_module(HMODULE handle);

} // namespace platform
