#include "share_modes.h"

#include <random>

#include "file_status.h"
#include "system/calls.h"
#include "winerror.h"

namespace platform
{

namespace
{

// The order makes the common requests one contiguous range, so one call.
enum Byte : off_t
{
    denies_write,
    reads,
    held,
    writes,
    denies_read,
    byte_count
};

constexpr int attempts = 4;

struct flock range_of(short type, off_t first, off_t count)
{
    struct flock range = {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = share_bytes_start + first;
    range.l_len = count;
    return range;
}

// Calls visit(first, count) for each run of set bytes; stops when it gives false.
template <class Visit> bool for_each_run(const bool (&set)[byte_count], Visit visit)
{
    for (off_t at = 0; at < byte_count;)
    {
        if (!set[at])
        {
            ++at;
            continue;
        }
        off_t end = at;
        while (end < byte_count && set[end])
            ++end;
        if (!visit(at, end - at))
            return false;
        at = end;
    }
    return true;
}

// False for a conflict. What can't be announced (a descriptor that can't read, a file system
// without such locks) is asked for nevertheless; what can't be asked is taken to be free.
bool try_claim(int fd, const bool (&own)[byte_count], const bool (&against)[byte_count])
{
    for_each_run(own,
                 [fd](off_t first, off_t count)
                 {
                     struct flock range = range_of(F_RDLCK, first, count);
                     return sys::fcntl_lock(fd, F_OFD_SETLK, &range) == 0;
                 });
    // Asking for a write lock shows the read locks of other descriptions; our own don't count.
    return for_each_run(against,
                        [fd](off_t first, off_t count)
                        {
                            struct flock range = range_of(F_WRLCK, first, count);
                            return sys::fcntl_lock(fd, F_OFD_GETLK, &range) != 0 ||
                                   range.l_type == F_UNLCK;
                        });
}

void withdraw(int fd)
{
    struct flock range = range_of(F_UNLCK, 0, byte_count);
    sys::fcntl_lock(fd, F_OFD_SETLK, &range);
}

void wait_a_little()
{
    static thread_local std::minstd_rand random(std::random_device{}());
    const timespec pause{0, static_cast<long>(random() % 100'000)};
    sys::clock_nanosleep(CLOCK_MONOTONIC, 0, &pause);
}

// Tries a few times: whom it meets may be about to withdraw for the same reason.
DWORD claim(int fd, const bool (&own)[byte_count], const bool (&against)[byte_count])
{
    for (int attempt = 1; !try_claim(fd, own, against); ++attempt)
    {
        withdraw(fd);
        if (attempt == attempts)
            return ERROR_SHARING_VIOLATION;
        wait_a_little();
    }
    return 0;
}

} // namespace

DWORD claim_share(int fd, const ShareRequest& request)
{
    if (!request.reads && !request.writes && !request.overwrites)
        return 0;
    bool own[byte_count] = {};
    own[held] = true;
    own[reads] = request.reads;
    own[writes] = request.writes;
    own[denies_read] = !request.shares_read;
    own[denies_write] = !request.shares_write;
    bool against[byte_count] = {};
    against[denies_read] = request.reads;
    against[denies_write] = request.writes || request.overwrites;
    against[reads] = !request.shares_read;
    against[writes] = !request.shares_write;
    return claim(fd, own, against);
}

bool lost_its_name(int fd, const char* native_path)
{
    struct stat found;
    struct stat named;
    return sys::fstat(fd, &found) == 0 && found.st_nlink == 0 &&
           (sys::stat(native_path, &named) != 0 || !is_same_file(found, named));
}

DeleteClaim::DeleteClaim(const char* native_path)
{
    struct stat found;
    if (sys::lstat(native_path, &found) != 0 || !S_ISREG(found.st_mode))
        return;
    m_fd = sys::open(native_path, O_RDONLY | O_NONBLOCK | O_NOFOLLOW);
    if (m_fd < 0) // then nothing can be announced, but asked
        m_fd = sys::open(native_path, O_WRONLY | O_NONBLOCK | O_NOFOLLOW);
    if (m_fd < 0)
        return;
    bool own[byte_count] = {};
    own[denies_read] = own[denies_write] = true;
    bool against[byte_count] = {};
    against[held] = true;
    m_error = claim(m_fd, own, against);
}

DeleteClaim::~DeleteClaim()
{
    if (m_fd >= 0)
        sys::close(m_fd);
}

} // namespace platform
