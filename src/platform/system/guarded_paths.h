// Paths in folders that are shared with users who need not be trusted.
//
// The state root and the folder of shared objects may be open to a group, so another member can put
// anything there under any name: a link to one of our files, a second name of it, a FIFO. All
// opening, making, moving and deleting below such a folder uses this file. Elsewhere links are
// followed as always.
//
// The rules:
// - A link is followed if its folder belongs to a trusted user, and either no other user can write
//   in that folder or the link belongs to a trusted user, too: the caller, root, or the owner of
//   the guarded folder. The folder's owner counts because members can make folders below the
//   guarded one.
// - A file is opened only if it is a regular one, and the open never waits.
// - A file with several names is refused if it belongs to another user, the kernel lets users link
//   to files that aren't theirs, and its folder belongs to a user who isn't trusted, or others may
//   write in it and it isn't sticky.
// - The guarded folder itself is used only as long as it is the same (guarded_folder.h).
//
// A refused call fails with EACCES, as for an unreadable file. Nothing here allocates, except the
// first use and a path that isn't absolute or has dots. Little stack is used, as threads of the
// program may have little: buffers for the longest path are in functions of their own, for paths
// that need them.
#pragma once

#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include "guarded_folder.h"
#include "judged_walk.h"

namespace platform
{

// Guards the folders that root_folder() may return, as the environment is now, before a program
// that hasn't asked for the root opens a file below it. Makes no folder; once per process. False
// without memory: a later call tries again. It is in root.cpp, which knows these folders.
bool guard_roots();

// chmod(2) of the entry of a descriptor that was opened with O_PATH.
int change_mode(int path_fd, mode_t mode);

// A path, and the guarded folder that contains it, if any.
class GuardedPath
{
public:
    // A relative path is taken from the current folder. The text must outlive the object.
    explicit GuardedPath(const char* path) { find(path); }
    GuardedPath(const GuardedPath&) = delete;
    GuardedPath& operator=(const GuardedPath&) = delete;
    explicit operator bool() const { return m_folder || m_error; }

    // open(2), and fstat(2) of the opened file if wanted isn't null. It never waits. Cuts (O_TRUNC)
    // only a file that has passed the rules.
    int open(int flags, mode_t mode, struct stat* wanted = nullptr) const;
    // realpath(3). Null with errno.
    char* realpath(char (&buffer)[longest_path]) const;
    // chmod(2), chdir(2). Negative with errno.
    int chmod(mode_t mode) const;
    int chdir() const;
    // The folder of the path's last name, as a descriptor for the calls that take one and a name;
    // -1 with errno. The caller closes it.
    int open_parent(const char*& name) const;

private:
    void find(const char* path);
    int open_any(int flags, mode_t mode, int& parent) const;
    int open_by_walk(int flags, mode_t mode, int& parent) const;
    bool make_absolute(const char* path);

    const GuardedFolder* m_folder = nullptr;
    int m_error = 0; // an errno: whether the path is guarded is unknown, so it is refused
    const char* m_rest = nullptr;       // the path after the folder and its separators
    std::unique_ptr<char[]> m_absolute; // for a relative path, or one with "." or ".."
};

// The folder and last name of a path, for the calls that take both: all links on the way are
// judged, the name itself isn't followed. A path that isn't guarded is passed on unchanged.
class PlaceInFolder
{
public:
    explicit PlaceInFolder(const char* path) : m_path(path), m_name(path)
    {
        if (m_path)
            m_folder = m_path.open_parent(m_name);
    }
    PlaceInFolder(const PlaceInFolder&) = delete;
    PlaceInFolder& operator=(const PlaceInFolder&) = delete;
    ~PlaceInFolder();
    bool ok() const { return m_folder != -1; } // if false, errno is set
    int folder() const { return m_folder; }
    const char* name() const { return m_name; }

private:
    GuardedPath m_path; // the name is part of its text
    const char* m_name;
    int m_folder = AT_FDCWD;
};

} // namespace platform
