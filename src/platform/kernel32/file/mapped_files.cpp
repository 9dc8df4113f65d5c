// The files that have a mapping or a view in this process.
#include "mapped_files.h"

#include <atomic>
#include <map>
#include <mutex>
#include <new>

#include "system/calls.h"
#include "system/fork.h"
#include "system/immortal.h"
#include "system/last_error.h"

namespace platform
{

namespace
{

struct MappedFiles
{
    std::mutex lock; // guards counts; no other lock is taken while it is held
    std::map<FileNumbers, unsigned> counts;
};

MappedFiles& mapped_files()
{
    static Immortal<MappedFiles> only;
    return *only;
}

std::mutex& mapped_files_lock()
{
    return mapped_files().lock;
}

const AtFork g_at_fork(ForkStep::mapped_files, taken_at_fork<mapped_files_lock>());

// Without mappings, the usual case, no lock is taken.
std::atomic<unsigned> g_mapped{0};

} // namespace

bool hold_mapped(const FileNumbers& file)
try
{
    if (file.inode == 0)
        return true;
    const std::lock_guard guard(mapped_files_lock());
    ++mapped_files().counts[file];
    ++g_mapped;
    return true;
}
catch (const std::bad_alloc&)
{
    return false;
}

void release_mapped(const FileNumbers& file)
{
    if (file.inode == 0)
        return;
    const std::lock_guard guard(mapped_files_lock());
    const auto found = mapped_files().counts.find(file);
    --g_mapped;
    if (--found->second == 0)
        mapped_files().counts.erase(found);
}

DWORD mapped_error(const struct stat& file)
{
    if (g_mapped == 0 || file.st_size == 0)
        return 0;
    const std::lock_guard guard(mapped_files_lock());
    return mapped_files().counts.contains({file.st_dev, file.st_ino}) ? ERROR_USER_MAPPED_FILE : 0;
}

DWORD set_length(int fd, off_t length)
{
    struct stat found;
    if (g_mapped != 0)
    {
        if (sys::fstat(fd, &found) != 0)
            return system_error(errno);
        if (const DWORD error = length < found.st_size ? mapped_error(found) : 0)
            return error;
    }
    return sys::ftruncate(fd, length) == 0 ? 0 : system_error(errno);
}

} // namespace platform
