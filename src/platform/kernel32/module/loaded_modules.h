// The ELF modules that are loaded now. A module's handle is its lowest address, as on the system.
//
// All of this reads the loader's own list through dl_iterate_phdr. A thread that is loading a
// module and runs its constructors doesn't block that.
#pragma once

#include <cstdint>

#include "kernel32/file/path.h"
#include "windef.h"

namespace platform
{

struct LoadedModule
{
    uintptr_t base = 0;
    uintptr_t end = 0;
    bool program = false;
    const char* name = nullptr;        // the loader's name for it, valid while it is loaded
    char path[native_path_limit] = ""; // absolute; "" for a module without a file

    HMODULE handle() const { return reinterpret_cast<HMODULE>(base); }
};

bool module_at(uintptr_t address, LoadedModule& found);

// By its handle, regardless of what loaded it. False also for a module without a file.
bool module_of(HMODULE handle, LoadedModule& found);

// By a file name without a path, in any case; ".dll" may be left out. "NAME.DLL" also finds NAME.so
// and libNAME.so, with or without a version after it.
bool module_named(LPCWSTR name, LoadedModule& found);

// How many modules were unloaded since the process started: when it changes, an address may belong
// to another module than before.
unsigned long long unloaded_modules();

} // namespace platform
