// The system's modules whose functions programs look up by name, although the stand-in has them
// linked in: each is a table of names. A module's table is in that module's folder, in by_name.cpp.
#pragma once

#include <span>

#include "windef.h"

namespace platform
{

struct NamedFunction
{
    const char* name;
    void (*function)();
};

// An entry for a function of any signature.
template <class Function> NamedFunction by_name(const char* name, Function* function)
{
    return {name, reinterpret_cast<void (*)()>(function)};
}

struct SystemModule
{
    const char* name; // lower case, with its extension
    std::span<const NamedFunction> functions;
};

const SystemModule& advapi32_module();
const SystemModule& user32_module();

// The handle of the module with this name, without regard to case; ".dll" may be left out. Null for
// another name, and for a name with a path.
HMODULE find_system_module(LPCWSTR name);

// The module of a handle, or null.
const SystemModule* system_module(HMODULE module);

// The handle of the program itself.
HMODULE program_module();

} // namespace platform
