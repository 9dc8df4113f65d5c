// The machine's memory, in the system's form.
#include <new>

#include "memory_figures.h"
#include "system/exception_guard.h"
#include "system/faults.h"
#include "system/last_error.h"
#include "windows.h"

using namespace platform;

extern "C" BOOL GlobalMemoryStatusEx(LPMEMORYSTATUSEX status)
{
    int error = 0;
    if (api_fault("GlobalMemoryStatusEx", error))
        return fail_with(static_cast<DWORD>(error));
    if (!status || status->dwLength != sizeof *status)
        return fail_with(ERROR_INVALID_PARAMETER);
    try
    {
        MemoryFigures figures;
        if (!read_memory_figures(figures))
            return FALSE;
        status->ullTotalPhys = figures.physical_total;
        status->ullAvailPhys = figures.physical_available;
        status->ullTotalPageFile = figures.commit_limit;
        status->ullAvailPageFile = figures.commit_available;
        status->ullTotalVirtual = figures.address_space;
        status->ullAvailVirtual = figures.address_space_available;
        status->ullAvailExtendedVirtual = 0;
        const uint64_t used = figures.physical_total - figures.physical_available;
        status->dwMemoryLoad = static_cast<DWORD>(static_cast<double>(used) * 100.0 /
                                                  static_cast<double>(figures.physical_total));
        return TRUE;
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, FALSE);
    }
}
