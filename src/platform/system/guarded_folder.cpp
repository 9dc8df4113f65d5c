#include "guarded_folder.h"

#include <cerrno>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "judged_walk.h"
#include "plain_calls.h"

namespace platform
{

constinit std::atomic<const GuardedFolder*> g_guarded_folders{nullptr};

namespace
{

// Whether anybody but the caller and root can make names in a folder on the way to the path, which
// has no links. Also true if that is unknown.
bool can_be_replaced(const std::string& path)
{
    for (size_t end = path.rfind('/'); end != std::string::npos;
         end = end == 0 ? std::string::npos : path.rfind('/', end - 1))
    {
        struct stat found;
        if (::stat(end == 0 ? "/" : path.substr(0, end).c_str(), &found) != 0 ||
            (found.st_mode & others_may_write) != 0 ||
            (found.st_uid != 0 && found.st_uid != ::geteuid()))
            return true;
    }
    return false;
}

// The owner of a folder, who is taken for its first one if none is known.
bool may_own(const GuardedFolder& folder, uid_t user)
{
    uid_t first = no_user;
    return folder.owner.compare_exchange_strong(first, user) || user == first || user == 0 ||
           user == ::geteuid();
}

const GuardedFolder* known_folder(const std::string& path)
{
    const GuardedFolder* folder = g_guarded_folders.load(std::memory_order_acquire);
    while (folder && folder->path != path)
        folder = folder->next;
    return folder;
}

} // namespace

void guard_folder(const std::string& path, FolderOwner kind)
{
    char resolved[longest_path];
    const bool is_there = ::realpath(path.c_str(), resolved) != nullptr;
    const uid_t owner = kind == FolderOwner::user ? ::geteuid() : no_user;
    std::unique_ptr<GuardedFolder> folder(
        new GuardedFolder{path, is_there ? resolved : path, kind, true, {owner}, nullptr});
    folder->is_replaceable = !is_there || can_be_replaced(folder->real);
    struct stat found;
    const bool is_seen = ::stat(path.c_str(), &found) == 0;
    if (const GuardedFolder* const known = known_folder(path))
    {
        if (is_seen)
            (void)may_own(*known, found.st_uid);
        if (known->real == folder->real && known->is_replaceable == folder->is_replaceable)
            return;
        folder->owner = known->owner.load();
    }
    else if (is_seen)
        (void)may_own(*folder, found.st_uid);
    folder->next = g_guarded_folders.load(std::memory_order_relaxed);
    while (!g_guarded_folders.compare_exchange_weak(folder->next, folder.get(),
                                                    std::memory_order_release))
    {
    }
    (void)folder.release();
}

int open_without_links(int from, const char* path, int flags, mode_t mode)
{
    if (sys::intercepted("openat2"))
        return -1;
    open_how how = {};
    // Unlike the older calls, openat2 refuses flags that have no effect.
    constexpr int beside_path = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    how.flags = static_cast<uint64_t>((flags & O_PATH) != 0 ? flags & beside_path : flags);
    how.mode = (flags & O_CREAT) != 0 ? mode : 0;
    how.resolve = RESOLVE_NO_SYMLINKS;
    return static_cast<int>(::syscall(SYS_openat2, from, path, &how, sizeof how));
}

bool has_to_walk(int error)
{
    return error == ELOOP || error == ENOSYS || error == EPERM;
}

int open_guarded(const GuardedFolder& folder, uid_t& owner)
{
    constexpr int flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
    int fd = open_without_links(AT_FDCWD, folder.real.c_str(), flags, 0);
    if (fd < 0 && has_to_walk(errno))
        fd = folder.kind == FolderOwner::user ? open_judged(folder.path.c_str(), O_DIRECTORY)
                                              : ::open(folder.path.c_str(), flags);
    if (fd < 0)
        return -1;
    struct stat found;
    if (::fstat(fd, &found) == 0 && may_own(folder, found.st_uid))
    {
        owner = found.st_uid;
        return fd;
    }
    ::close(fd);
    errno = EACCES;
    return -1;
}

} // namespace platform
