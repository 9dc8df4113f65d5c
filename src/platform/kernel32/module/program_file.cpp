#include "program_file.h"

#include <atomic>
#include <cstring>
#include <mutex>
#include <string_view>

#include "kernel32/file/path.h"
#include "system/calls.h"

namespace platform
{

namespace
{

struct Program
{
    std::atomic<bool> known{false};
    std::mutex lock; // guards the writing of path; no other lock is taken while it is held
    char path[native_path_limit] = "";
};
constinit Program g_program;

// False, with errno, if the kernel doesn't report it.
bool read_path(char (&path)[native_path_limit])
{
    const ssize_t length = sys::readlink(program_link, path, sizeof path - 1);
    path[length < 0 ? 0 : length] = '\0';
    without_removal_mark(path);
    return length >= 0;
}

// Called at load, as an upgrade may replace the file before the first request.
[[gnu::constructor]] void keep_path()
{
    program_path();
}

} // namespace

const char* program_path()
{
    if (!g_program.known.load(std::memory_order_acquire))
    {
        const std::lock_guard guard(g_program.lock);
        if (!g_program.known && read_path(g_program.path))
            g_program.known.store(true, std::memory_order_release);
    }
    return g_program.path;
}

char* without_removal_mark(char* path)
{
    constexpr std::string_view mark = " (deleted)";
    const std::string_view text(path);
    struct stat found;
    if (text.ends_with(mark) && sys::lstat(path, &found) != 0)
        path[text.size() - mark.size()] = '\0';
    return path;
}

} // namespace platform
