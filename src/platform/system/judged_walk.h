// A walk along a path that judges each link on the way.
#pragma once

#include <cerrno>

#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace platform
{

inline constexpr size_t longest_path = 4096; // bytes, terminator included (PATH_MAX)
inline constexpr mode_t others_may_write = S_IWGRP | S_IWOTH;

// A descriptor of the walk, closed when the next one replaces it.
class Step
{
public:
    explicit Step(int fd) : m_fd(fd) {}
    Step(const Step&) = delete;
    Step& operator=(const Step&) = delete;
    ~Step() { reset(-1); }
    int get() const { return m_fd; }
    int release()
    {
        const int fd = m_fd;
        m_fd = -1;
        return fd;
    }
    void reset(int fd)
    {
        const int error = errno;
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = fd;
        errno = error;
    }

private:
    int m_fd;
};

inline int refuse(int error)
{
    errno = error;
    return -1;
}

// owner: of the guarded folder.
inline bool is_trusted(uid_t user, uid_t owner)
{
    return user == 0 || user == owner || user == ::geteuid();
}

// Walks from a folder along the levels of a path and judges each link itself. Returns the folder of
// the last name; that name is left in pending, and is no link if final links are followed.
// follows_last: whether a link at the end is followed. owner: of the guarded folder.
int walk(int from, char (&pending)[longest_path], bool follows_last, uid_t owner);

// open(2) of an absolute path anywhere, with the rule for links (the caller and root are trusted);
// the descriptor can only be used to examine the entry (O_PATH).
int open_judged(const char* path, int flags);

} // namespace platform
