// Paths in folders that are shared with people whom nobody has to trust.
//
// The state root and the folder of shared objects may be open to a group, so another member can put
// anything there under any name: a link to a file of ours, a second name of it, a FIFO. Whatever is
// opened, made, moved or deleted below such a folder goes through here. Elsewhere links are
// followed as always.
//
// The rules:
// - A link is followed if its folder belongs to somebody who is trusted, and either nobody else can
//   write in that folder or the link belongs to somebody who is trusted, too: the caller, root, or
//   the owner of the guarded folder. A member can make folders of his own below it.
// - A file is opened only if it is a regular one, and the open never waits.
// - A file with several names is refused if it belongs to somebody else, others may write in its
//   folder, the folder isn't sticky, and the kernel lets people link to what isn't theirs.
//
// What is refused fails with EACCES, as an unreadable file does. Nothing here allocates, but
// guard_folder and a path that isn't absolute or has dots. Little of the stack is used, as threads
// of the program may have little: buffers for the longest path are in functions of their own, for
// paths that need them.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

namespace platform
{

inline constexpr size_t longest_path = 4096; // bytes, terminator included (PATH_MAX)

// From now on what lies below the folder is guarded. The path is absolute and has no slash at its
// end; the folder itself and the way to it aren't guarded.
void guard_folder(const std::string& path);

// open(2) of an absolute path anywhere, with the rule for links (the caller and root are trusted);
// the descriptor is for looking at what was found (O_PATH).
int open_judged(const char* path, int flags);

// chmod(2) of what such a descriptor stands for.
int change_mode(int path_fd, mode_t mode);

// A guarded folder, kept for the life of the process.
struct GuardedFolder
{
    std::string path;
    std::string real; // where path led when it was guarded, without links
    const GuardedFolder* next;
};

extern std::atomic<const GuardedFolder*> g_guarded_folders;

// A path as far as it lies in a guarded folder.
class GuardedPath
{
public:
    // One that isn't absolute is taken from the current folder. The text must outlive the object.
    explicit GuardedPath(const char* path)
    {
        if (g_guarded_folders.load(std::memory_order_acquire)) [[likely]]
            find(path);
    }
    GuardedPath(const GuardedPath&) = delete;
    GuardedPath& operator=(const GuardedPath&) = delete;
    explicit operator bool() const { return m_folder || m_error; }

    // open(2), and fstat(2) of what was opened if that is wanted. It never waits. Cuts (O_TRUNC)
    // only what has passed.
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
    int m_error = 0; // an errno: it can't be told whether the path is guarded, so it is refused
    const char* m_rest = nullptr;       // what follows behind the folder and its separators
    std::unique_ptr<char[]> m_absolute; // of a path that isn't, or that has "." or ".." in it
};

// Where the last name of a path lies, for the calls that take a folder and a name: all links on the
// way are judged, the name itself isn't followed. A path that isn't guarded is passed on as it is.
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
    bool ok() const { return m_folder != -1; } // if not, errno is set
    int folder() const { return m_folder; }
    const char* name() const { return m_name; }

private:
    GuardedPath m_path; // the name lies in it
    const char* m_name;
    int m_folder = AT_FDCWD;
};

} // namespace platform
