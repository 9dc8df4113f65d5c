// The system's modules that programs look functions up in by name, though the stand-in has their
// functions linked in: each is a table of names. The table of a module stands in the folder of that
// module, in by_name.cpp.
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
// another name, and for any name with a path in it.
HMODULE find_system_module(LPCWSTR name);

// The module that a handle stands for, or null.
const SystemModule* system_module(HMODULE module);

// The handle that stands for the program itself.
HMODULE program_module();

} // namespace platform
