// The handle of a system module is the address of its table, valid as long as the process: nothing
// has to be loaded or freed.
#include "system_modules.h"

#include <cstring>
#include <string>

#include "system/text.h"

namespace platform
{

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
