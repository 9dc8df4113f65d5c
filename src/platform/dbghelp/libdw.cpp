#include "libdw.h"

#include "system/calls.h"

namespace platform
{

namespace
{

template <class Function> bool look_up(void* library, const char* name, Function& function)
{
    function = reinterpret_cast<Function>(sys::dlsym(library, name));
    return function != nullptr;
}

bool look_up_all(void* library, Libdw& functions)
{
    return look_up(library, "dwfl_begin", functions.begin) &&
           look_up(library, "dwfl_report_begin", functions.report_begin) &&
           look_up(library, "dwfl_report_begin_add", functions.report_begin_add) &&
           look_up(library, "dwfl_report_module", functions.report_module) &&
           look_up(library, "dwfl_report_end", functions.report_end) &&
           look_up(library, "dwfl_addrmodule", functions.addrmodule) &&
           look_up(library, "dwfl_module_addrinfo", functions.module_addrinfo) &&
           look_up(library, "dwfl_module_getsrc", functions.module_getsrc) &&
           look_up(library, "dwfl_lineinfo", functions.lineinfo) &&
           look_up(library, "dwfl_build_id_find_debuginfo", functions.build_id_find_debuginfo) &&
           look_up(library, "elf_version", functions.elf_version) &&
           look_up(library, "elf_begin", functions.elf_begin);
}

} // namespace

const Libdw* libdw()
{
    static Libdw functions;
    static bool ready = false;
    if (ready)
        return &functions;
    // Stays loaded for the life of the process.
    void* const library = sys::dlopen("libdw.so.1", RTLD_NOW | RTLD_LOCAL);
    ready = library && look_up_all(library, functions);
    return ready ? &functions : nullptr;
}

} // namespace platform
