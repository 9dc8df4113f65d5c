#include "guarded_paths.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

#include "kernel_files.h"
#include "kernel_text.h"
#include "plain_calls.h"

namespace platform
{

namespace
{

// The kernel's link to the file that a descriptor of this process has open.
constexpr size_t link_room = 32;
const char* own_link(int fd, char (&link)[link_room])
{
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    return link;
}

bool kernel_protects_hard_links()
{
    try
    {
        std::string text;
        return read_kernel_file("/proc/sys/fs/protected_hardlinks", text) &&
               leading_number(text) == 1;
    }
    catch (const std::exception&)
    {
        return false; // unknown
    }
}

// Whether a second name of another user's file can't have been planted in the folder. Its owner
// could change its mode, and is free of the sticky bit.
bool may_open_linked(int folder, uid_t owner)
{
    struct stat in;
    return ::fstat(folder, &in) == 0 &&
           ((is_trusted(in.st_uid, owner) &&
             ((in.st_mode & others_may_write) == 0 || (in.st_mode & S_ISVTX) != 0)) ||
            kernel_protects_hard_links());
}

constexpr size_t usual_path = 512; // bytes; a longer path uses a larger buffer

template <size_t room>
[[gnu::noinline]] int open_joined(const GuardedFolder& folder, std::string_view rest, int flags,
                                  mode_t mode)
{
    char text[room];
    std::snprintf(text, sizeof text, "%s/%.*s", folder.real.c_str(), static_cast<int>(rest.size()),
                  rest.data());
    return open_without_links(AT_FDCWD, text, flags, mode);
}

// The same for a folder, or a file in it.
int open_without_links(const GuardedFolder& folder, std::string_view rest, int flags, mode_t mode)
{
    const size_t size = folder.real.size() + 1 + rest.size() + 1;
    if (size > longest_path)
        return refuse(ENAMETOOLONG);
    return size <= usual_path ? open_joined<usual_path>(folder, rest, flags, mode)
                              : open_joined<longest_path>(folder, rest, flags, mode);
}

// Whether a level of the path is "." or "..".
bool has_dots(const char* path)
{
    for (const char* at = path; (at = std::strstr(at, "/.")); ++at)
    {
        const char* const end = at + 2 + (at[2] == '.');
        if (*end == '/' || *end == '\0')
            return true;
    }
    return false;
}

// Removes "." and ".." from the text of an absolute path, in place.
void take_out_dots(char* path)
{
    char* written = path;
    for (const char* at = path; *at;)
    {
        while (*at == '/')
            ++at;
        const size_t length = std::strcspn(at, "/");
        const std::string_view level(at, length);
        if (level == "..")
            while (written > path && *--written != '/')
            {
            }
        else if (!level.empty() && level != ".")
        {
            *written++ = '/';
            std::memmove(written, at, length);
            written += length;
        }
        at += length;
    }
    if (written == path)
        *written++ = '/';
    *written = '\0';
}

// The part of a path after its folder, or null. Several separators count as one.
const char* behind(const char* path, const std::string& folder)
{
    const char* expected = folder.c_str();
    while (*expected)
    {
        if (*path != *expected)
            return nullptr;
        while (*path == '/' && path[1] == '/')
            ++path;
        ++path;
        ++expected;
    }
    if (*path != '/')
        return nullptr;
    while (*path == '/')
        ++path;
    return *path ? path : nullptr; // the folder itself isn't guarded
}

// Finds the folder by a walk. -1 with errno.
[[gnu::noinline]] int walk_to(const GuardedFolder& folder, std::string_view rest)
{
    char pending[longest_path];
    if (rest.size() + 2 > sizeof pending)
        return refuse(ENAMETOOLONG);
    // With a last name that isn't followed, the walk ends at that name's folder.
    std::memcpy(pending, rest.data(), rest.size());
    std::strcpy(pending + rest.size(), "x");
    uid_t owner;
    const int from = open_guarded(folder, owner);
    return from < 0 ? -1 : walk(from, pending, false, owner);
}

} // namespace

int change_mode(int path_fd, mode_t mode)
{
    char link[link_room];
    return ::chmod(own_link(path_fd, link), mode);
}

// Appends the path to the current folder. False if that fails; m_error is set if the path must then
// be refused.
bool GuardedPath::make_absolute(const char* path)
{
    m_absolute.reset(new (std::nothrow) char[longest_path]);
    if (!m_absolute)
    {
        m_error = ENOMEM;
        return false;
    }
    size_t folder = 0;
    if (*path != '/')
    {
        if (!::getcwd(m_absolute.get(), longest_path))
        {
            // If the current folder was deleted, the path leads nowhere, and the call with it
            // fails.
            if (errno != ENOENT)
                m_error = ENAMETOOLONG;
            return false;
        }
        folder = std::strlen(m_absolute.get());
        m_absolute[folder++] = '/';
    }
    const size_t length = std::strlen(path);
    if (folder + length + 1 > longest_path)
    {
        if (folder != 0) // else the path is too long for any call
            m_error = ENAMETOOLONG;
        return false;
    }
    std::memcpy(m_absolute.get() + folder, path, length + 1);
    return true;
}

void GuardedPath::find(const char* path)
{
    if (!guard_roots())
    {
        m_error = ENOMEM;
        return;
    }
    if (*path != '/' || has_dots(path))
    {
        if (!make_absolute(path))
            return;
        if (has_dots(m_absolute.get()))
            take_out_dots(m_absolute.get());
        path = m_absolute.get();
    }
    for (const GuardedFolder* folder = g_guarded_folders.load(std::memory_order_acquire); folder;
         folder = folder->next)
        for (const std::string* name : {&folder->path, &folder->real})
            if (const char* const rest = behind(path, *name))
            {
                m_folder = folder;
                m_rest = rest;
                return;
            }
}

int GuardedPath::open_parent(const char*& name) const
{
    if (m_error)
        return refuse(m_error);
    size_t length = std::strlen(m_rest);
    while (length > 0 && m_rest[length - 1] == '/')
        --length;
    size_t start = length;
    while (start > 0 && m_rest[start - 1] != '/')
        --start;
    name = m_rest + start;
    const std::string_view folder(m_rest, start);
    if (m_folder->is_replaceable)
        return walk_to(*m_folder, folder);
    const int fd = open_without_links(*m_folder, folder, O_PATH | O_DIRECTORY | O_CLOEXEC, 0);
    return fd >= 0 || !has_to_walk(errno) ? fd : walk_to(*m_folder, folder);
}

// Opens without judging the file. parent: its folder if the path was walked, else -1.
int GuardedPath::open_any(int flags, mode_t mode, int& parent) const
{
    parent = -1;
    if (m_error)
        return refuse(m_error);
    // Where the folder may have been replaced, nothing is made before the walk has seen the folder.
    const bool makes_later = m_folder->is_replaceable && (flags & O_CREAT) != 0;
    if (!makes_later || (flags & O_EXCL) == 0)
    {
        const int at_first = makes_later ? flags & ~O_CREAT : flags;
        const int fd = open_without_links(*m_folder, m_rest, at_first, mode);
        if (fd >= 0 || !(has_to_walk(errno) || (makes_later && errno == ENOENT)))
            return fd;
    }
    return open_by_walk(flags, mode, parent);
}

[[gnu::noinline]] int GuardedPath::open_by_walk(int flags, mode_t mode, int& parent) const
{
    char pending[longest_path];
    if (std::strlen(m_rest) >= sizeof pending)
        return refuse(ENAMETOOLONG);
    std::strcpy(pending, m_rest);
    uid_t owner;
    const int from = open_guarded(*m_folder, owner);
    const bool makes_new = (flags & O_CREAT) != 0 && (flags & O_EXCL) != 0;
    parent = from < 0 ? -1 : walk(from, pending, !makes_new && (flags & O_NOFOLLOW) == 0, owner);
    return parent < 0 ? -1 : ::openat(parent, *pending ? pending : ".", flags | O_NOFOLLOW, mode);
}

int GuardedPath::open(int flags, mode_t mode, struct stat* wanted) const
{
    if (m_rest && (flags & O_CREAT) != 0 && std::string_view(m_rest).ends_with('/'))
        return refuse(EISDIR); // as the kernel does; the walk would take no notice of the slash
    const int opening = (flags & ~O_TRUNC) | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const bool is_new = (flags & O_CREAT) != 0 && (flags & O_EXCL) != 0;
    int parent;
    Step opened(open_any(opening, mode, parent));
    Step folder(parent);
    struct stat here;
    struct stat& found = wanted ? *wanted : here;
    for (bool is_known = false; !is_known;)
    {
        if (opened.get() < 0)
            // A FIFO without a reader, a socket, or a folder opened for writing.
            return refuse(errno == ENXIO || errno == EISDIR ? EACCES : errno);
        if (is_new && !wanted)
            return opened.release();
        if (sys::fstat(opened.get(), &found) != 0)
            return -1;
        is_known = folder.get() >= 0 || m_folder->vouched_by(found);
        if (!is_known)
        {
            opened.reset(open_by_walk(opening, mode, parent));
            folder.reset(parent);
        }
    }
    if (is_new)
        return opened.release();
    if ((flags & (O_PATH | O_DIRECTORY)) == 0 && !S_ISREG(found.st_mode))
        return refuse(EACCES);
    if (found.st_nlink > 1 && !S_ISDIR(found.st_mode) && found.st_uid != ::geteuid())
    {
        const char* name;
        if (folder.get() < 0)
            folder.reset(open_parent(name));
        if (folder.get() < 0 || !may_open_linked(folder.get(), m_folder->owner))
            return refuse(EACCES);
    }
    if ((flags & O_TRUNC) != 0 && ::ftruncate(opened.get(), 0) != 0)
        return -1;
    return opened.release();
}

int GuardedPath::chmod(mode_t mode) const
{
    const Step found(open(O_PATH, 0));
    return found.get() < 0 ? -1 : change_mode(found.get(), mode);
}

int GuardedPath::chdir() const
{
    const Step found(open(O_PATH | O_DIRECTORY, 0));
    return found.get() < 0 ? -1 : ::fchdir(found.get());
}

PlaceInFolder::~PlaceInFolder()
{
    const int error = errno;
    if (m_folder >= 0)
        ::close(m_folder);
    errno = error;
}

char* GuardedPath::realpath(char (&buffer)[longest_path]) const
{
    int parent;
    const Step found(open_any(O_PATH | O_CLOEXEC, 0, parent));
    const Step folder(parent);
    if (found.get() < 0)
        return nullptr;
    char link[link_room];
    const ssize_t size = ::readlink(own_link(found.get(), link), buffer, sizeof buffer - 1);
    if (size < 0)
        return nullptr;
    buffer[size] = '\0';
    return buffer;
}

} // namespace platform
