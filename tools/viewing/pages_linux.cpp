#include "pages.h"

#include <memory>
#include <new>

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

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

size_t give_back_pages(void* part, size_t bytes)
{
    static const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    if (!std::align(page, page, part, bytes))
        return 0;
    const size_t whole = bytes / page * page;
    return madvise(part, whole, MADV_DONTNEED) == 0 ? whole : 0;
}

void give_back_heap()
{
    malloc_trim(0);
}

void give_back_large_blocks()
{
    constexpr int large = 256 << 10; // bytes
    mallopt(M_MMAP_THRESHOLD, large);
}

} // namespace trace
