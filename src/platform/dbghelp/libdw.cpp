#include "libdw.h"

#include "system/calls.h"
#include "system/library_function.h"

namespace platform
{

namespace
{

bool find_all(void* library, Libdw& functions)
{
    return find_function(library, "dwfl_begin", functions.begin) &&
           find_function(library, "dwfl_report_begin", functions.report_begin) &&
           find_function(library, "dwfl_report_begin_add", functions.report_begin_add) &&
           find_function(library, "dwfl_report_module", functions.report_module) &&
           find_function(library, "dwfl_report_end", functions.report_end) &&
           find_function(library, "dwfl_addrmodule", functions.addrmodule) &&
           find_function(library, "dwfl_module_addrinfo", functions.module_addrinfo) &&
           find_function(library, "dwfl_module_getsrc", functions.module_getsrc) &&
           find_function(library, "dwfl_lineinfo", functions.lineinfo) &&
           find_function(library, "dwfl_build_id_find_debuginfo",
                         functions.build_id_find_debuginfo) &&
           find_function(library, "elf_version", functions.elf_version) &&
           find_function(library, "elf_begin", functions.elf_begin);
}

} // namespace

const Libdw* libdw()
{
    static Libdw functions;
    static bool ready = false;
    if (ready)
        return &functions;
    // Stays loaded until the process ends.
    void* const library = sys::dlopen("libdw.so.1", RTLD_NOW | RTLD_LOCAL);
    ready = library && find_all(library, functions);
    return ready ? &functions : nullptr;
}

} // namespace platform
