// Information about the system, local memory, and the like.
#include <cstdlib>

#include <unistd.h>

#include "system/faults.h"
#include "system/last_error.h"
#include "windows.h"

using namespace platform;

extern "C" void GetSystemInfo(LPSYSTEM_INFO info)
{
    // Callers map files from multiples of the granularity, which is coarser than a page.
    static const DWORD page_size = static_cast<DWORD>(sysconf(_SC_PAGESIZE));
    static const DWORD processors = static_cast<DWORD>(sysconf(_SC_NPROCESSORS_ONLN));
    *info = {};
    info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_AMD64;
    info->dwPageSize = page_size;
    info->lpMinimumApplicationAddress = reinterpret_cast<LPVOID>(uintptr_t{0x10000});
    info->lpMaximumApplicationAddress = reinterpret_cast<LPVOID>(uintptr_t{0x7FFFFFFEFFFF});
    info->dwNumberOfProcessors = processors;
    info->dwActiveProcessorMask =
        processors >= 64 ? ~DWORD_PTR{0} : (DWORD_PTR{1} << processors) - 1;
    info->dwProcessorType = PROCESSOR_AMD_X8664;
    info->dwAllocationGranularity = 65'536;
}

extern "C" BOOL GetVersionExW(LPOSVERSIONINFOW info)
{
    int error = 0;
    if (api_fault("GetVersionExW", error))
        return fail_with(static_cast<DWORD>(error));
    const DWORD size = info ? info->dwOSVersionInfoSize : 0;
    if (size == sizeof(OSVERSIONINFOEXW))
    {
        auto* const extended = reinterpret_cast<OSVERSIONINFOEXW*>(info);
        *extended = {};
        extended->wProductType = VER_NT_WORKSTATION;
    }
    else if (size == sizeof *info)
        *info = {};
    else
        return fail_with(ERROR_INSUFFICIENT_BUFFER);
    info->dwOSVersionInfoSize = size;
    info->dwMajorVersion = 10; // what this interface is modelled on
    info->dwMinorVersion = 0;
    info->dwBuildNumber = 19045;
    info->dwPlatformId = VER_PLATFORM_WIN32_NT;
    return TRUE;
}

extern "C" HLOCAL LocalAlloc(UINT flags, SIZE_T bytes)
{
    int error = 0;
    void* memory = nullptr;
    if (!api_fault("LocalAlloc", error))
        memory = (flags & LMEM_ZEROINIT) ? std::calloc(1, bytes ? bytes : 1)
                                         : std::malloc(bytes ? bytes : 1);
    if (!memory)
        fail_with(ERROR_NOT_ENOUGH_MEMORY);
    return memory;
}

extern "C" HLOCAL LocalFree(HLOCAL memory)
{
    std::free(memory);
    return nullptr;
}

extern "C" DWORD GetCurrentProcessId(void)
{
    return static_cast<DWORD>(getpid());
}

// A pseudo handle of the calling process, for calls that take a process handle.
extern "C" HANDLE GetCurrentProcess(void)
{
    return reinterpret_cast<HANDLE>(LONG_PTR{-1});
}

// Modules are never informed of threads here.
extern "C" BOOL DisableThreadLibraryCalls(HMODULE)
{
    return TRUE;
}
