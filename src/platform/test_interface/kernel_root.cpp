// Another place for the files in which the kernel reports its figures.
#include <mutex>
#include <set>

#include <plinth_platform_test.h>

#include "reset.h"
#include "system/test_interface.h"

namespace platform
{

constinit std::atomic<const std::string*> g_kernel_root{nullptr};

namespace
{

// One for each root that was ever set, never freed: a reader may still use a former one.
const std::string* kept_root(const char* folder)
{
    static std::mutex lock; // guards kept
    static auto& kept = *new std::set<std::string>;
    const std::lock_guard guard(lock);
    return &*kept.emplace(folder).first;
}

} // namespace

void reset_kernel_root()
{
    g_kernel_root = nullptr;
}

} // namespace platform

extern "C" void PlinthTestSetKernelRoot(const char* folder)
{
    platform::g_kernel_root = folder && *folder ? platform::kept_root(folder) : nullptr;
}
