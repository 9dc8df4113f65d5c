// Separate debug files.
#pragma once

#include <elfutils/libdwfl.h>

namespace platform
{

// The callback that libdw asks for a module's debug file: gives a descriptor and the path, which
// libdw frees, or -1. By build id below /usr/lib/debug, else by the name and checksum of the
// module's .gnu_debuglink. libdw's own search would also ask servers that DEBUGINFOD_URLS names; a
// report must not wait for a network.
int find_debug_file(Dwfl_Module* module, void** user_data, const char* name, Dwarf_Addr base,
                    const char* file, const char* link, GElf_Word checksum, char** found);

} // namespace platform
