// Information about an address, from the kernel's list of mappings.
#include <cerrno>

#include "kernel32/file/mappings.h"
#include "kernel32/module/loaded_modules.h"
#include "system/faults.h"
#include "system/last_error.h"
#include "windows.h"

using namespace platform;

namespace
{

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

// The mapping that contains an address, or the gap around the address, which permits no access.
// False with the last error set.
bool find_mapping(uintptr_t address, Mapping& found)
{
    Mappings list;
    if (!list.ok())
        return fail_errno(errno);
    for (uintptr_t gap = 0; list.next(found); gap = found.end)
    {
        if (address < found.start)
        {
            found.end = found.start;
            found.start = gap;
            found.access[0] = '\0';
            return true;
        }
        if (address < found.end)
            return true;
    }
    return fail_with(ERROR_INVALID_PARAMETER); // beyond the addresses of a process
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
    info->Type = image ? MEM_IMAGE : mapping.inode ? MEM_MAPPED : MEM_PRIVATE;
    return sizeof *info;
}
