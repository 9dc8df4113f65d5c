// Allocations that fail. The operators below replace the C++ library's in the whole
// program, so only one file of a program may include this.
#pragma once

#include <cstdlib>
#include <new>

namespace test
{

// The n-th operator new of this thread from now fails; 0 for none.
inline thread_local unsigned t_failing_allocation = 0;
// Each operator new of this thread fails.
inline thread_local bool t_allocations_fail = false;

} // namespace test

void* operator new(size_t size, const std::nothrow_t&) noexcept
{
    const bool is_the_nth = test::t_failing_allocation != 0 && --test::t_failing_allocation == 0;
    return is_the_nth || test::t_allocations_fail ? nullptr : std::malloc(size);
}

void* operator new(size_t size)
{
    if (void* const memory = operator new(size, std::nothrow))
        return memory;
    throw std::bad_alloc();
}

// Not inline: otherwise the compiler sees free() after the caller's new, and warns of a mismatch.
__attribute__((noinline)) void operator delete(void* memory) noexcept
{
    std::free(memory);
}

__attribute__((noinline)) void operator delete(void* memory, size_t) noexcept
{
    std::free(memory);
}
