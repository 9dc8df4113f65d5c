// The machine's performance figures, in pages.
#include <algorithm>
#include <atomic>
#include <new>
#include <string>

#include <windows.h>

#include <psapi.h>

#include "kernel32/memory/memory_figures.h"
#include "system/calls.h"
#include "system/directory.h"
#include "system/exception_guard.h"
#include "system/faults.h"
#include "system/kernel_files.h"
#include "system/kernel_text.h"
#include "system/last_error.h"

using namespace platform;

namespace
{

// The kernel keeps no peak for the machine, so this is the greatest value that this process has
// seen.
std::atomic<uint64_t> g_commit_peak{0};

uint64_t raise_peak(uint64_t bytes)
{
    uint64_t peak = g_commit_peak;
    while (peak < bytes && !g_commit_peak.compare_exchange_weak(peak, bytes))
        ;
    return std::max(peak, bytes);
}

// Open files of the machine: the first number in the file.
DWORD open_files()
{
    std::string text;
    if (!read_kernel_file("/proc/sys/fs/file-nr", text))
        return 0;
    return static_cast<DWORD>(leading_number(text).value_or(0));
}

// "0.20 0.18 0.12 1/80 11206": the number of threads follows the slash.
DWORD threads()
{
    std::string text;
    if (!read_kernel_file("/proc/loadavg", text))
        return 0;
    const std::string_view all = text;
    const size_t slash = all.find('/');
    if (slash == std::string_view::npos)
        return 0;
    return static_cast<DWORD>(leading_number(all.substr(slash + 1)).value_or(0));
}

DWORD processes()
{
    Directory folder(kernel_path("/proc").c_str());
    DWORD count = 0;
    while (const dirent* const entry = folder.next())
        count += entry->d_name[0] >= '1' && entry->d_name[0] <= '9';
    return count;
}

} // namespace

extern "C" BOOL GetPerformanceInfo(PPERFORMANCE_INFORMATION information, DWORD size)
{
    int error = 0;
    if (api_fault("GetPerformanceInfo", error))
        return fail_with(static_cast<DWORD>(error));
    if (!information)
        return fail_with(ERROR_INVALID_PARAMETER);
    if (size < sizeof *information)
        return fail_with(ERROR_BAD_LENGTH);
    try
    {
        MemoryFigures figures;
        if (!read_memory_figures(figures))
            return FALSE;
        const uint64_t committed = figures.commit_limit - figures.commit_available;
        const auto pages = [&figures](uint64_t bytes) { return bytes / figures.page_size; };
        *information = {};
        information->cb = sizeof *information;
        information->CommitTotal = pages(committed);
        information->CommitLimit = pages(figures.commit_limit);
        information->CommitPeak = pages(raise_peak(committed));
        information->PhysicalTotal = pages(figures.physical_total);
        information->PhysicalAvailable = pages(figures.physical_available);
        information->SystemCache = pages(figures.system_cache);
        information->KernelTotal = pages(figures.kernel_paged + figures.kernel_nonpaged);
        information->KernelPaged = pages(figures.kernel_paged);
        information->KernelNonpaged = pages(figures.kernel_nonpaged);
        information->PageSize = figures.page_size;
        information->HandleCount = open_files();
        information->ProcessCount = processes();
        information->ThreadCount = threads();
        return TRUE;
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, FALSE);
    }
}
