// The ELF modules that are loaded now. The handle of one is its lowest address, as on the system.
//
// All of this asks the loader's own list by dl_iterate_phdr, which a thread that is just loading a
// module, and runs its constructors, doesn't hold up.
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
    const char* name = nullptr;        // what the loader calls it, while it is loaded
    char path[native_path_limit] = ""; // absolute; "" for one without a file

    HMODULE handle() const { return reinterpret_cast<HMODULE>(base); }
};

bool module_at(uintptr_t address, LoadedModule& found);

// By its handle, whoever has loaded it. False also for one without a file.
bool module_of(HMODULE handle, LoadedModule& found);

// By a file name without a path, in any case; ".dll" may be left out. "NAME.DLL" also finds NAME.so
// and libNAME.so, with a version behind it or not.
bool module_named(LPCWSTR name, LoadedModule& found);

// The modules that have been unloaded since the process started: when it changes, an address may
// belong to another module than before.
unsigned long long unloaded_modules();

} // namespace platform
