#include "judged_walk.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace platform
{

namespace
{

constexpr int most_links = 40; // as the kernel's limit

// Whether only a trusted user can have made the link.
bool may_follow(int folder, const struct stat& link, uid_t owner)
{
    struct stat in;
    return ::fstat(folder, &in) == 0 && is_trusted(in.st_uid, owner) &&
           ((in.st_mode & others_may_write) == 0 || is_trusted(link.st_uid, owner));
}

// Appends the rest of a path to a link's target. False if the result is too long.
bool continue_behind(const char* target, size_t length, const char* rest, char* pending)
{
    const size_t behind = std::strlen(rest);
    if (length + 1 + behind + 1 > longest_path)
        return false;
    std::memmove(pending + length + 1, rest, behind + 1); // rest is part of pending
    std::memcpy(pending, target, length);
    pending[length] = '/';
    return true;
}

// Replaces a link before the rest of the path by its target. Negative with errno.
[[gnu::noinline]] int follow_link(int link, const char* rest, char* pending)
{
    char target[longest_path];
    const ssize_t size = ::readlinkat(link, "", target, sizeof target);
    if (size < 0)
        return -1;
    return continue_behind(target, static_cast<size_t>(size), rest, pending) ? 0
                                                                             : refuse(ENAMETOOLONG);
}

} // namespace

int walk(int from, char (&pending)[longest_path], bool follows_last, uid_t owner)
{
    Step folder(from);
    char* at = pending;
    for (int links = 0;;)
    {
        while (*at == '/')
            ++at;
        const size_t length = std::strcspn(at, "/");
        char* rest = at + length;
        while (*rest == '/')
            ++rest;
        const bool is_last = *rest == '\0';
        if (length == 0 || (is_last && !follows_last))
        {
            std::memmove(pending, at, std::strlen(at) + 1);
            return folder.release();
        }
        char name[256];
        if (length >= sizeof name)
            return refuse(ENAMETOOLONG);
        std::memcpy(name, at, length);
        name[length] = '\0';
        Step level(::openat(folder.get(), name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
        struct stat found;
        const bool is_there = level.get() >= 0 && ::fstat(level.get(), &found) == 0;
        if (!is_there && !(is_last && errno == ENOENT))
            return -1;
        if (is_there && S_ISLNK(found.st_mode))
        {
            if (++links > most_links)
                return refuse(ELOOP);
            if (!may_follow(folder.get(), found, owner))
                return refuse(EACCES);
            if (follow_link(level.get(), rest, pending) != 0)
                return -1;
            at = pending;
            if (*at == '/')
                folder.reset(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
            if (folder.get() < 0)
                return -1;
            continue;
        }
        if (is_last)
        {
            std::memmove(pending, at, length + 1);
            pending[length] = '\0';
            return folder.release();
        }
        folder.reset(level.release());
        at = rest;
    }
}

int open_judged(const char* path, int flags)
{
    char pending[longest_path];
    if (std::strlen(path) >= sizeof pending)
        return refuse(ENAMETOOLONG);
    std::strcpy(pending, path);
    const int from = ::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
    const Step folder(from < 0 ? -1 : walk(from, pending, true, 0));
    return folder.get() < 0 ? -1
                            : ::openat(folder.get(), *pending ? pending : ".",
                                       flags | O_PATH | O_NOFOLLOW | O_CLOEXEC);
}

} // namespace platform
