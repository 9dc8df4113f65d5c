#include "own_descriptor.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "calls.h"
#include "fork_count.h"

namespace platform
{

namespace
{

constexpr rlim_t usual_limit = 1024; // descriptors; many programs loop up to this number
constexpr int compared_flags = O_ACCMODE | O_APPEND;

int first_high_number()
{
    rlimit limit;
    if (sys::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return sys::first_inner_number;
    return static_cast<int>(std::min(limit.rlim_cur, usual_limit) / 4 * 3);
}

} // namespace

int duplicate_high(int fd)
{
    const int first = std::max(first_high_number(), sys::first_inner_number);
    const int moved = sys::duplicate(fd, first);
    return moved >= 0 || first == sys::first_inner_number ? moved : sys::duplicate(fd);
}

void OwnDescriptor::take(int fd, const struct stat& found, const char* path, Prepare prepare)
{
    m_device = found.st_dev;
    m_inode = found.st_ino;
    m_flags = sys::status_flags(fd);
    if (path)
    {
        const size_t size = std::strlen(path) + 1;
        m_path.reset(new (std::nothrow) char[size]);
        if (m_path)
            std::memcpy(m_path.get(), path, size);
    }
    m_prepare = std::move(prepare);
    m_fd = moved_up(fd);
    m_forks = fork_count();
    m_taken = true;
}

bool OwnDescriptor::is_file(const struct stat& other) const
{
    return other.st_dev == m_device && other.st_ino == m_inode;
}

// The program may have opened the same file itself, for another purpose.
bool OwnDescriptor::is_ours(int fd) const
{
    struct stat found;
    if (sys::fstat(fd, &found) != 0)
        return errno != EBADF; // unknown: then it counts as ours
    const int flags = sys::status_flags(fd);
    return is_file(found) &&
           (flags < 0 || m_flags < 0 || ((flags ^ m_flags) & compared_flags) == 0);
}

// Another thread may have closed all the program's descriptors since the file was opened, and
// opened a file of the program's under the number: then the result is negative, and the number is
// left alone.
int OwnDescriptor::moved_up(int fd) const
{
    if (fd >= std::max(first_high_number(), sys::first_inner_number))
        return fd;
    const int moved = duplicate_high(fd);
    if (moved < 0)
        return errno == EBADF ? -1 : fd;
    const bool ours = is_ours(moved);
    sys::close(ours ? fd : moved);
    return ours ? moved : -1;
}

int OwnDescriptor::open_anew() const
{
    struct stat found;
    if (!m_path || m_flags < 0)
        return -1;
    const int flags = (m_flags & (compared_flags | O_NONBLOCK)) | O_NOCTTY;
    const int fd = sys::open(m_path.get(), flags, 0, &found);
    if (fd < 0)
        return -1;
    if (!is_file(found) || (m_prepare && !m_prepare(fd)))
    {
        sys::close(fd);
        return -1;
    }
    return moved_up(fd);
}

void OwnDescriptor::look_again()
{
    m_forks.store(fork_count(), std::memory_order_relaxed);
    int former = m_fd.load();
    if (former >= 0 && is_ours(former))
        return;
    const int opened = open_anew();
    // If several threads get here, one stores its descriptor.
    if (!m_fd.compare_exchange_strong(former, opened) && opened >= 0)
        sys::close(opened);
}

int OwnDescriptor::number()
{
    if (m_forks.load(std::memory_order_relaxed) != fork_count() && m_taken) [[unlikely]]
    {
        const int error = errno;
        look_again();
        errno = error;
    }
    return m_fd.load(std::memory_order_relaxed);
}

int OwnDescriptor::checked_number()
{
    if (m_taken)
        look_again();
    return m_fd.load();
}

bool OwnDescriptor::renewed(int failed)
{
    if (!m_taken)
        return false;
    const int error = errno;
    if (m_fd.load() == failed)
        look_again();
    errno = error;
    const int now = m_fd.load();
    // An opened file usually gets the number that was closed.
    return now >= 0 && (now != failed || error == EBADF);
}

int OwnDescriptor::close()
{
    const int fd = m_fd.exchange(-1);
    if (!m_taken)
        return 0;
    m_taken = false;
    return fd >= 0 && is_ours(fd) ? sys::close(fd) : 0;
}

} // namespace platform
