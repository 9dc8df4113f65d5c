// Performance figures of the machine.
#ifndef PLINTH_PLATFORM_PSAPI_H
#define PLINTH_PLATFORM_PSAPI_H

#include "winbase.h"

#ifdef __cplusplus
extern "C"
{
#endif

    // Sizes are in pages of PageSize bytes. Commit figures are of physical memory and swap
    // together: the limit and the used part; CommitPeak is the greatest use that this process has
    // seen. The physical total is the memory of the machine or of the tightest control group around
    // the process. SystemCache: file pages and the kernel's caches. HandleCount: open files.
    typedef struct PERFORMANCE_INFORMATION
    {
        DWORD cb;
        SIZE_T CommitTotal;
        SIZE_T CommitLimit;
        SIZE_T CommitPeak;
        SIZE_T PhysicalTotal;
        SIZE_T PhysicalAvailable;
        SIZE_T SystemCache;
        SIZE_T KernelTotal;
        SIZE_T KernelPaged;
        SIZE_T KernelNonpaged;
        SIZE_T PageSize;
        DWORD HandleCount;
        DWORD ProcessCount;
        DWORD ThreadCount;
    } PERFORMANCE_INFORMATION, *PPERFORMANCE_INFORMATION;

    PLINTH_PLATFORM_API BOOL WINAPI GetPerformanceInfo(PPERFORMANCE_INFORMATION information,
                                                       DWORD size);

#ifdef __cplusplus
}
static_assert(sizeof(PERFORMANCE_INFORMATION) == 104);
#endif

#endif
