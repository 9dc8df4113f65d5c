#include "pages.h"

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

void give_back_heap()
{
    HeapCompact(GetProcessHeap(), 0);
}

} // namespace trace
