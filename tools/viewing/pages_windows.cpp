#include "pages.h"

#include <memory>
#include <new>

#include <windows.h>

namespace trace
{

void* allocate_pages(size_t bytes)
{
    void* const pages = VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    if (!pages)
        throw std::bad_alloc();
    return pages;
}

void free_pages(void* pages, size_t)
{
    VirtualFree(pages, 0, MEM_RELEASE);
}

size_t give_back_pages(void* part, size_t bytes)
{
    SYSTEM_INFO system;
    GetSystemInfo(&system);
    const size_t page = system.dwPageSize;
    if (!std::align(page, page, part, bytes))
        return 0;
    const size_t whole = bytes / page * page;
    if (!VirtualAlloc(part, whole, MEM_RESET, PAGE_READWRITE))
        return 0;
    VirtualUnlock(part, whole); // pages that weren't locked are no longer resident
    return whole;
}

void give_back_heap()
{
    HeapCompact(GetProcessHeap(), 0);
}

void give_back_large_blocks() {} // the system's heap does so by itself

} // namespace trace
