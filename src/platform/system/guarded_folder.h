// The folders whose content is guarded (guarded_paths.h), and whether they are still the same.
//
// A folder in a place where others can make names (/tmp, /dev/shm) may be removed while a program
// runs, by a cleaner or at a logout, and a stranger may then make one of the same name. It isn't
// used: a guarded folder must belong to its first owner, to the caller or to root.
#pragma once

#include <atomic>
#include <string>

#include <sys/stat.h>
#include <sys/types.h>

namespace platform
{

enum class FolderOwner
{
    first, // who owned it when it was first seen, as for a folder that the user names
    user   // the caller; a link on the way to it is judged too
};

// A guarded folder, kept until the process ends.
struct GuardedFolder
{
    std::string path;
    std::string real; // where path led when it was guarded, with links resolved
    FolderOwner kind;
    bool is_replaceable;              // others can make names on the way to it
    mutable std::atomic<uid_t> owner; // no_user until the folder has been seen
    const GuardedFolder* next;

    // Whether a file below it shows by its status alone that it wasn't put there by a stranger: so
    // the usual open looks at no folder.
    bool vouched_by(const struct stat& found) const
    {
        return !is_replaceable || (S_ISREG(found.st_mode) && found.st_nlink == 1 &&
                                   found.st_uid == owner.load(std::memory_order_relaxed));
    }
};

inline constexpr uid_t no_user = static_cast<uid_t>(-1);
extern std::atomic<const GuardedFolder*> g_guarded_folders;

// From now on all entries below the folder are guarded. The path is plain (plain_path.h); the
// folder itself and the path to it aren't guarded. It may be missing, and may be given again later.
void guard_folder(const std::string& path, FolderOwner kind);

// Opens the folder itself with O_PATH and receives its owner. -1 with errno: EACCES if it belongs
// to somebody who isn't trusted.
int open_guarded(const GuardedFolder& folder, uid_t& owner);

// openat(2) of a path without any link. -1 with ELOOP if there are links, or with another errno.
int open_without_links(int from, const char* path, int flags, mode_t mode);

// Whether the call that refuses links couldn't decide: there are links, or the call isn't available
// (kernels before 5.6, sandboxes).
bool has_to_walk(int error);

} // namespace platform
