#include "pages.h"

#include <new>

#include <malloc.h>
#include <sys/mman.h>

namespace trace
{

void* allocate_pages(size_t bytes)
{
    void* const pages =
        mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED)
        throw std::bad_alloc();
    return pages;
}

void free_pages(void* pages, size_t bytes)
{
    munmap(pages, bytes);
}

void give_back_heap()
{
    malloc_trim(0);
}

} // namespace trace
