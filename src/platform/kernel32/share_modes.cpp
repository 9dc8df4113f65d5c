#include "share_modes.h"

#include <random>

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

enum class Outcome
{
    claimed,
    conflict,
    unsupported
};

Outcome try_claim(int fd, const bool (&own)[byte_count], const bool (&against)[byte_count])
{
    const bool announced = for_each_run(own,
                                        [fd](off_t first, off_t count)
                                        {
                                            struct flock range = range_of(F_RDLCK, first, count);
                                            return sys::fcntl_lock(fd, F_OFD_SETLK, &range) == 0;
                                        });
    if (!announced)
        return Outcome::unsupported;
    // Asking for a write lock shows the read locks of other descriptions; our own don't count.
    const bool free = for_each_run(against,
                                   [fd](off_t first, off_t count)
                                   {
                                       struct flock range = range_of(F_WRLCK, first, count);
                                       return sys::fcntl_lock(fd, F_OFD_GETLK, &range) != 0 ||
                                              range.l_type == F_UNLCK;
                                   });
    return free ? Outcome::claimed : Outcome::conflict;
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

    for (int attempt = 1;; ++attempt)
    {
        switch (try_claim(fd, own, against))
        {
        case Outcome::claimed:
        case Outcome::unsupported:
            return 0;
        case Outcome::conflict:
            if (attempt == attempts)
                return ERROR_SHARING_VIOLATION;
            withdraw(fd);
            wait_a_little();
        }
    }
}

DWORD delete_blocked(const char* native_path)
{
    struct stat found;
    if (sys::lstat(native_path, &found) != 0 || !S_ISREG(found.st_mode))
        return 0;
    int fd = sys::open(native_path, O_RDONLY | O_NONBLOCK | O_NOFOLLOW);
    if (fd < 0) // asking needs a descriptor, and no access in particular
        fd = sys::open(native_path, O_WRONLY | O_NONBLOCK | O_NOFOLLOW);
    if (fd < 0)
        return 0;
    struct flock range = range_of(F_WRLCK, held, 1);
    const bool blocked = sys::fcntl_lock(fd, F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
    sys::close(fd);
    return blocked ? ERROR_SHARING_VIOLATION : 0;
}

} // namespace platform
