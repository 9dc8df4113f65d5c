// What lies at an address, by the kernel's list of mappings.
#include <cstdio>
#include <cstring>
#include <memory>

#include "loaded_modules.h"
#include "system/calls.h"
#include "system/faults.h"
#include "system/last_error.h"
#include "windows.h"

using namespace platform;

namespace
{

struct Mapping
{
    uintptr_t start = 0;
    uintptr_t end = 0;
    char access[5] = "";
    bool file = false;
};

struct CloseFile
{
    void operator()(FILE* file) const { std::fclose(file); }
};

DWORD protection_of(const char* access)
{
    const bool writes = access[1] == 'w';
    if (access[2] == 'x')
        return writes             ? PAGE_EXECUTE_READWRITE
               : access[0] == 'r' ? PAGE_EXECUTE_READ
                                  : PAGE_EXECUTE;
    if (writes)
        return PAGE_READWRITE;
    return access[0] == 'r' ? PAGE_READONLY : PAGE_NOACCESS;
}

// The mapping with an address, or the gap around it. False with the last error set.
bool find_mapping(uintptr_t address, Mapping& found)
{
    const std::unique_ptr<FILE, CloseFile> list(sys::fopen("/proc/self/maps", "re"));
    if (!list)
        return fail_errno(errno);
    uintptr_t gap = 0;
    char line[native_path_limit + 128];
    while (std::fgets(line, sizeof line, list.get()))
    {
        Mapping each;
        unsigned long inode = 0;
        if (std::sscanf(line, "%lx-%lx %4s %*x %*s %lu", &each.start, &each.end, each.access,
                        &inode) != 4)
            continue;
        each.file = inode != 0;
        if (address < each.start)
        {
            found = {gap, each.start, "", false};
            return true;
        }
        if (address < each.end)
        {
            found = each;
            return true;
        }
        gap = each.end;
    }
    return fail_with(ERROR_INVALID_PARAMETER); // beyond what a process can have
}

} // namespace

extern "C" SIZE_T VirtualQueryEx(HANDLE process, LPCVOID address, PMEMORY_BASIC_INFORMATION info,
                                 SIZE_T size)
{
    int error = 0;
    if (api_fault("VirtualQueryEx", error))
        return static_cast<SIZE_T>(fail_with(static_cast<DWORD>(error)));
    if (process != GetCurrentProcess())
        return static_cast<SIZE_T>(fail_with(ERROR_INVALID_HANDLE));
    if (!info || size < sizeof *info)
        return static_cast<SIZE_T>(fail_with(ERROR_INSUFFICIENT_BUFFER));
    const auto at = reinterpret_cast<uintptr_t>(address);
    Mapping mapping;
    if (!find_mapping(at, mapping))
        return 0;
    *info = {};
    info->BaseAddress = reinterpret_cast<PVOID>(mapping.start);
    info->RegionSize = mapping.end - mapping.start;
    if (mapping.access[0] == '\0')
    {
        info->State = MEM_FREE;
        info->Protect = PAGE_NOACCESS;
        return sizeof *info;
    }
    LoadedModule module;
    const bool image = module_at(at, module);
    info->AllocationBase = image ? reinterpret_cast<PVOID>(module.base) : info->BaseAddress;
    info->AllocationProtect = info->Protect = protection_of(mapping.access);
    info->State = MEM_COMMIT;
    info->Type = image ? MEM_IMAGE : mapping.file ? MEM_MAPPED : MEM_PRIVATE;
    return sizeof *info;
}
