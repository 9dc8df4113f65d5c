// Separate debug files.
#pragma once

#include <elfutils/libdwfl.h>

namespace platform
{

// The callback that libdw calls for a module's debug file: returns a descriptor and the path, which
// libdw frees, or -1. By build id below /usr/lib/debug, else by the name and checksum of the
// module's .gnu_debuglink. libdw's own search would also query the servers of DEBUGINFOD_URLS; a
// report must not wait for a network.
int find_debug_file(Dwfl_Module* module, void** user_data, const char* name, Dwarf_Addr base,
                    const char* file, const char* link, GElf_Word checksum, char** found);

} // namespace platform
