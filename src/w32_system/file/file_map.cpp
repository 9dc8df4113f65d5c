// Mapped files at any byte offset.
//
// The system maps only from multiples of its allocation granularity. The operation maps from the
// boundary below the offset. A view starts on such a boundary, so the caller's pointer alone is
// enough to find the view again, and nothing has to be stored.
#include <windows.h>

#include "argument_check.h"
#include "file_internal.h"

namespace
{

constexpr const char* source_name = "src\\w32_system\\file\\file";

struct MapMode
{
    DWORD protection;
    DWORD access;
};

constexpr MapMode map_modes[] = {
    {PAGE_READONLY, FILE_MAP_READ},   // QV_MAP_READ
    {PAGE_READWRITE, FILE_MAP_WRITE}, // QV_MAP_WRITE
    {PAGE_WRITECOPY, FILE_MAP_COPY},  // QV_MAP_COPY
};

uint64_t Granularity()
{
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return info.dwAllocationGranularity;
}

} // namespace

extern "C" int QV_MapFile(QvFile file, unsigned int mode, uint64_t offset, uint64_t size,
                          void** address)
{
    if (!address)
        return QvRefuse(QV_ERR_NULLPTR, L"address==NULL", L"QV_MapFile: No place for the address.",
                        source_name, __LINE__);
    const uint64_t granularity = Granularity();
    const uint64_t base = offset & ~(granularity - 1);
    if (mode < QV_MAP_READ || mode > QV_MAP_COPY)
        return QvRefuse(QV_ERR_NULLPTR, L"mode<QV_MAP_READ || mode>QV_MAP_COPY",
                        L"QV_MapFile: Wrong mode.", source_name, __LINE__);
    const MapMode& words = map_modes[mode - QV_MAP_READ];
    if (!file || file == INVALID_HANDLE_VALUE)
    {
        // The system takes the invalid value as a request for memory without a file.
        SetLastError(ERROR_INVALID_HANDLE);
        return QV_ERR_SYSTEM;
    }

    const uint64_t end = offset + size;
    if (end < offset)
        return QV_ERR_SYSTEM; // beyond what any file can hold
    const HANDLE mapping =
        CreateFileMappingW(file, nullptr, words.protection, QvHigh(end), QvLow(end), nullptr);
    if (!mapping)
        return QV_ERR_SYSTEM;
    // With size 0 the view extends to the end of the mapping.
    const SIZE_T viewSize = size ? static_cast<SIZE_T>(end - base) : 0;
    void* const view = MapViewOfFile(mapping, words.access, QvHigh(base), QvLow(base), viewSize);
    const DWORD viewError = GetLastError();
    const bool closed = CloseHandle(mapping) != 0;
    if (!closed || (reinterpret_cast<uintptr_t>(view) & (granularity - 1)) != 0)
    {
        if (view)
            UnmapViewOfFile(view);
        return QV_ERR_FAILED;
    }
    if (!view)
    {
        SetLastError(viewError); // the close has succeeded; report the view's failure
        return QV_ERR_SYSTEM;
    }
    *address = static_cast<BYTE*>(view) + (offset - base);
    return QV_OK;
}

extern "C" int QV_UnmapFile(void* address, uint64_t)
{
    if (!address)
        return QvRefuse(QV_ERR_NULLPTR, L"address==NULL", L"QV_UnmapFile: No address.", source_name,
                        __LINE__);
    const uintptr_t view = reinterpret_cast<uintptr_t>(address) & ~(Granularity() - 1);
    return UnmapViewOfFile(reinterpret_cast<void*>(view)) ? QV_OK : QV_ERR_SYSTEM;
}
