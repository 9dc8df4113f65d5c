// Looking up modules and their functions by name.
//
// The handle of one of them is the address of its table and is good for the whole process: there is
// nothing to load or to free. Other modules are looked up by modules.h.
#include "system_modules.h"

#include <cstring>
#include <string>

#include "loaded_modules.h"
#include "modules.h"
#include "system/exception_guard.h"
#include "system/faults.h"
#include "system/last_error.h"
#include "system/text.h"
#include "windows.h"

using namespace platform;

namespace
{

using ModuleTable = const SystemModule& (*)();
constexpr ModuleTable all_modules[] = {advapi32_module, user32_module};

HMODULE handle_of(const SystemModule& module)
{
    return reinterpret_cast<HMODULE>(const_cast<SystemModule*>(&module));
}

// Module names are ASCII.
bool equal_folded(const std::string& name, const char* lower_case)
{
    if (name.size() != std::strlen(lower_case))
        return false;
    for (size_t i = 0; i < name.size(); ++i)
        if ((name[i] >= 'A' && name[i] <= 'Z' ? name[i] + ('a' - 'A') : name[i]) != lower_case[i])
            return false;
    return true;
}

} // namespace

namespace platform
{

HMODULE find_system_module(LPCWSTR name)
{
    std::string wanted = to_utf8(name);
    if (wanted.find('.') == std::string::npos)
        wanted += ".dll";
    for (const ModuleTable table : all_modules)
        if (equal_folded(wanted, table().name))
            return handle_of(table());
    return nullptr;
}

const SystemModule* system_module(HMODULE module)
{
    for (const ModuleTable table : all_modules)
        if (handle_of(table()) == module)
            return &table();
    return nullptr;
}

HMODULE program_module()
{
    static HINSTANCE__ program = {};
    return &program;
}

} // namespace platform

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
    // A function may also be asked for by its number; none of ours has one.
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
