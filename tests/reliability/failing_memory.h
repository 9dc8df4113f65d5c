// Allocations of the library that fail, for the worker of the sweep.
//
// Counts the calls of operator new that the library's own code makes, and can make some fail.
// Allocations of the session and the worker themselves never fail.
//
// Only one file of a program may include this: it replaces the operators, and the C++ library's
// function that a handler calls to catch an exception. The latter records which module caught the
// exception of an allocation in the stand-in: only the stand-in may, since none may leave it.
#pragma once

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include <dlfcn.h>
#include <execinfo.h>

namespace failing_memory
{

inline std::atomic<bool> g_counts{false};
inline std::atomic<unsigned> g_calls{0};
inline std::atomic<unsigned> g_first{0}; // number of the call that fails; 0: none
inline std::atomic<bool> g_stays{false}; // whether all later calls fail, too
inline std::atomic<const char*> g_met{nullptr};
inline std::atomic<const char*> g_left{nullptr}; // not the stand-in, but caught its exception
inline thread_local bool t_of_platform = false;  // the stand-in's exception is under way
inline thread_local bool t_looks = false;

constexpr const char* of_platform = "operator new of the stand-in";

inline const char* module_of(void* address)
{
    Dl_info info;
    return dladdr(address, &info) && info.dli_fname ? info.dli_fname : "";
}

inline bool is_platform(const char* module)
{
    return std::strstr(module, "libplinth_platform") || std::strstr(module, "libplinth_desktop");
}

// Null for an allocation that isn't the library's. Templates that are compiled into the C++
// library's own file allocate for their caller, which is searched for on the stack.
inline const char* owner(void* caller)
{
    void* frames[16] = {caller};
    int count = 1;
    if (std::strstr(module_of(caller), "libstdc++"))
        count = backtrace(frames, 16);
    for (int i = 0; i < count; ++i)
    {
        const char* const module = module_of(frames[i]);
        if (is_platform(module))
            return of_platform;
        if (std::strstr(module, "libplinth_w32"))
            return "operator new of the library";
        if (std::strstr(module, "plinth_fault_session"))
            return nullptr;
    }
    return nullptr;
}

inline bool fails(void* caller)
{
    if (!g_counts.load(std::memory_order_relaxed) || t_looks)
        return false;
    t_looks = true; // backtrace() may allocate
    const char* const who = owner(caller);
    t_looks = false;
    if (!who)
        return false;
    const unsigned call = ++g_calls;
    const unsigned first = g_first;
    if (first == 0 || call < first || (call > first && !g_stays))
        return false;
    const char* none = nullptr;
    g_met.compare_exchange_strong(none, who);
    t_of_platform = who == of_platform;
    if (std::getenv("PLINTH_SWEEP_TELLS_WHERE"))
    {
        void* frames[32];
        backtrace_symbols_fd(frames, backtrace(frames, 32), 1);
    }
    return true;
}

// Starts counting again. first 0: only counts.
inline void arm(unsigned first, bool stays)
{
    void* unused[1];
    backtrace(unused, 1); // the first call loads what it needs
    g_calls = 0;
    g_first = first;
    g_stays = stays;
    g_counts = true;
}

inline void disarm()
{
    g_counts = false;
}

} // namespace failing_memory

void* operator new(size_t size, const std::nothrow_t&) noexcept
{
    if (failing_memory::fails(__builtin_return_address(0)))
    {
        failing_memory::t_of_platform = false; // nothing is thrown
        return nullptr;
    }
    return std::malloc(size);
}

void* operator new(size_t size)
{
    if (!failing_memory::fails(__builtin_return_address(0)))
        if (void* const memory = std::malloc(size))
            return memory;
    throw std::bad_alloc();
}

// Not the C++ library's array forms: they would hide the caller.
void* operator new[](size_t size) __attribute__((alias("_Znwm")));
void* operator new[](size_t size, const std::nothrow_t&) noexcept
    __attribute__((alias("_ZnwmRKSt9nothrow_t")));

__attribute__((noinline)) void operator delete(void* memory) noexcept
{
    std::free(memory);
}
__attribute__((noinline)) void operator delete(void* memory, size_t) noexcept
{
    std::free(memory);
}
__attribute__((noinline)) void operator delete(void* memory, const std::nothrow_t&) noexcept
{
    std::free(memory); // of an object whose constructor has failed
}
__attribute__((noinline)) void operator delete[](void* memory) noexcept
{
    std::free(memory);
}
__attribute__((noinline)) void operator delete[](void* memory, size_t) noexcept
{
    std::free(memory);
}

extern "C" __attribute__((visibility("default"))) void* __cxa_begin_catch(void* exception) noexcept
{
    using Begin = void* (*)(void*);
    static const auto begin = reinterpret_cast<Begin>(dlsym(RTLD_NEXT, "__cxa_begin_catch"));
    if (failing_memory::t_of_platform)
    {
        const char* const module = failing_memory::module_of(__builtin_return_address(0));
        if (!std::strstr(module, "libstdc++")) // libstdc++ throws it again
        {
            failing_memory::t_of_platform = false;
            if (!failing_memory::is_platform(module))
                failing_memory::g_left = module;
        }
    }
    return begin(exception);
}
