// Reading the kernel's text files.
#include "kernel_files.h"

#include <atomic>
#include <mutex>
#include <set>

#include "calls.h"

namespace platform
{

namespace
{

constexpr size_t file_limit = 1 << 20;

// Null: the real files.
std::atomic<const std::string*> g_kernel_root{nullptr};

// One for each root that was ever set, for good: a reader may still hold a former one.
const std::string* kept_root(const char* folder)
{
    static std::mutex lock; // guards kept
    static auto& kept = *new std::set<std::string>;
    const std::lock_guard guard(lock);
    return &*kept.emplace(folder).first;
}

} // namespace

void set_kernel_root(const char* folder)
{
    g_kernel_root = folder && *folder ? kept_root(folder) : nullptr;
}

std::string kernel_path(const std::string& path)
{
    const std::string* const root = g_kernel_root;
    return root ? *root + path : path;
}

bool read_kernel_file(const std::string& path, std::string& text)
{
    text.clear();
    const int fd = sys::open(kernel_path(path).c_str(), O_RDONLY);
    if (fd < 0)
        return false;
    char block[4096];
    ssize_t got = 0;
    while (text.size() < file_limit && (got = sys::read(fd, block, sizeof block)) > 0)
        text.append(block, static_cast<size_t>(got));
    const int error = errno;
    sys::close(fd);
    errno = error;
    return got >= 0;
}

} // namespace platform
