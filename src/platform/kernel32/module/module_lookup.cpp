// Looks up modules and their functions by name: the system's own (system_modules.h) first, then
// loaded ones.
#include <cstring>

#include "loaded_modules.h"
#include "system/calls.h"
#include "system/exception_guard.h"
#include "system/last_error.h"
#include "system_modules.h"
#include "windows.h"

using namespace platform;

namespace
{

std::nullptr_t not_found(DWORD error = ERROR_MOD_NOT_FOUND)
{
    fail_with(error);
    return nullptr;
}

// The address of a function or object that a loaded module, or the program, exports. Null, and
// ERROR_MOD_NOT_FOUND or ERROR_PROC_NOT_FOUND.
void* symbol_of(HMODULE handle, const char* name)
{
    LoadedModule loaded;
    if (handle != program_module() && !module_of(handle, loaded))
        return not_found();
    // Another reference, so that the module stays loaded during the look-up.
    void* const loader = handle == program_module()
                             ? RTLD_DEFAULT
                             : sys::dlopen(loaded.name, RTLD_LAZY | RTLD_NOLOAD);
    if (!loader && handle != program_module())
        return not_found();
    void* const symbol = name ? sys::dlsym(loader, name) : nullptr;
    if (loader)
        sys::dlclose(loader);
    if (!symbol)
        fail_with(ERROR_PROC_NOT_FOUND);
    return symbol;
}

} // namespace

extern "C" HMODULE GetModuleHandleW(LPCWSTR name)
try
{
    int error = 0;
    if (api_fault("GetModuleHandleW", error))
    {
        fail_with(static_cast<DWORD>(error));
        return nullptr;
    }
    if (!name)
        return program_module();
    if (const HMODULE found = find_system_module(name))
        return found;
    LoadedModule loaded;
    if (module_named(name, loaded))
        return loaded.handle();
    fail_with(ERROR_MOD_NOT_FOUND);
    return nullptr;
}
catch (const std::exception& exception)
{
    return failed_by(exception, HMODULE{});
}

extern "C" FARPROC GetProcAddress(HMODULE module, LPCSTR name)
{
    int error = 0;
    if (api_fault("GetProcAddress", error))
    {
        fail_with(static_cast<DWORD>(error));
        return nullptr;
    }
    // A function may also be requested by its number; none of ours has one.
    const char* const wanted = IS_INTRESOURCE(name) ? nullptr : name;
    const SystemModule* const system = system_module(module);
    if (!system)
        return reinterpret_cast<FARPROC>(symbol_of(module, wanted));
    for (const NamedFunction& each : system->functions)
        if (wanted && std::strcmp(each.name, wanted) == 0)
            return reinterpret_cast<FARPROC>(each.function);
    fail_with(ERROR_PROC_NOT_FOUND);
    return nullptr;
}
