// Memory directly from the system, which gets it back as soon as it is freed. Memory that a heap
// frees often stays with the process.
#pragma once

#include <cstddef>
#include <utility>

namespace trace
{

// Zeroed memory of this many bytes, of which only touched pages are resident; throws std::bad_alloc
// if the system has none.
void* allocate_pages(size_t bytes);
void free_pages(void* pages, size_t bytes);

// Returns the pages that are wholly in this part of such memory to the system: what was in them is
// lost, but they can be used again. The result is the number of bytes that were given back.
size_t give_back_pages(void* part, size_t bytes);

// Returns unused memory of the heap to the system.
void give_back_heap();
// From now on the heap returns large blocks to the system as soon as they are freed. Otherwise it
// keeps blocks of several megabytes, once one of their size was freed.
void give_back_large_blocks();

class Pages
{
public:
    Pages() = default;
    explicit Pages(size_t bytes) : m_data(static_cast<char*>(allocate_pages(bytes))), m_bytes(bytes)
    {
    }
    ~Pages()
    {
        if (m_data)
            free_pages(m_data, m_bytes);
    }
    Pages(Pages&& other) noexcept
        : m_data(std::exchange(other.m_data, nullptr)), m_bytes(std::exchange(other.m_bytes, 0))
    {
    }
    Pages& operator=(Pages&& other) noexcept
    {
        std::swap(m_data, other.m_data);
        std::swap(m_bytes, other.m_bytes);
        return *this;
    }

    char* data() { return m_data; }
    const char* data() const { return m_data; }
    size_t bytes() const { return m_bytes; }

private:
    char* m_data = nullptr;
    size_t m_bytes = 0;
};

} // namespace trace
