#include "share_modes.h"

#include <utility>

#include "file_status.h"
#include "system/calls.h"
#include "system/fork_count.h"
#include "system/timed_lock.h"
#include "winerror.h"

namespace platform
{

namespace
{

// This order makes each common request one contiguous range, so that it needs one call.
enum Byte : off_t
{
    announced,
    denies_write,
    reads,
    held,
    writes,
    denies_read,
    byte_count
};

using Bytes = bool[byte_count];

struct flock range_of(short type, off_t first, off_t count)
{
    struct flock range = {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = share_bytes_start + first;
    range.l_len = count;
    return range;
}

bool set_lock(int fd, short type, off_t first, off_t count)
{
    struct flock range = range_of(type, first, count);
    return sys::fcntl_lock(fd, F_OFD_SETLK, &range) == 0;
}

// Calls visit(first, count) for each run of bytes with this value before the end.
template <class Visit> void for_each_run(const Bytes& bytes, bool value, off_t end, Visit visit)
{
    for (off_t at = 0; at < end;)
    {
        const off_t first = at;
        while (at < end && bytes[at] == value)
            ++at;
        if (at > first)
            visit(first, at - first);
        else
            ++at;
    }
}

enum class Found
{
    nothing,
    announced,
    settled
};

// Looks for locks of others. Bytes that can't be queried count as free.
Found look(int fd, const Bytes& against)
{
    Found found = Found::nothing;
    for_each_run(against, true, byte_count,
                 [&](off_t first, off_t count)
                 {
                     // Querying for a write lock shows the read locks of other descriptions. An
                     // announced claim is one range from its first byte on.
                     struct flock range = range_of(F_WRLCK, first, count);
                     if (found == Found::settled || sys::fcntl_lock(fd, F_OFD_GETLK, &range) != 0 ||
                         range.l_type == F_UNLCK)
                         return;
                     found = range.l_start <= share_bytes_start + announced ? Found::announced
                                                                            : Found::settled;
                 });
    return found;
}

} // namespace

struct ClaimedFile::Claim
{
    Bytes own = {};
    Bytes against = {};
    bool settles = true; // false: stays announced until it ends

    bool denies() const { return own[denies_read] || own[denies_write]; }
    off_t first() const
    {
        off_t at = announced;
        while (!denies() && !own[at])
            ++at;
        return at;
    }
    off_t end() const
    {
        off_t at = byte_count;
        while (!own[at - 1])
            --at;
        return at;
    }
};

ClaimedFile::ClaimedFile(ClaimedFile&& other) noexcept
    : m_fd(other.m_fd), m_holds(other.m_holds), m_waited(other.m_waited), m_process(other.m_process)
{
    other.release();
}

void ClaimedFile::reset(int fd)
{
    close();
    m_fd = fd;
}

int ClaimedFile::close()
{
    if (m_fd < 0)
        return 0;
    if (m_holds && is_own())
        take_back_locks(m_fd);
    return sys::close(release());
}

void take_back_locks(int fd)
{
    struct flock everything = {};
    everything.l_type = F_UNLCK;
    sys::fcntl_lock(fd, F_OFD_SETLK, &everything);
}

int ClaimedFile::release()
{
    m_holds = m_waited = false;
    return std::exchange(m_fd, -1);
}

bool ClaimedFile::is_own() const
{
    return m_process == fork_count();
}

// One range, which may cover more than the claim, as others that meet an announced claim wait. If a
// claim can't be announced (a descriptor that can't read, a file system without such locks), this
// step is skipped.
void ClaimedFile::announce(const Claim& wanted)
{
    m_holds = set_lock(m_fd, F_RDLCK, wanted.first(), wanted.end() - wanted.first());
}

// Leaves only the claim's own bytes locked.
void ClaimedFile::settle(const Claim& wanted) const
{
    if (m_holds && wanted.denies() && wanted.settles)
        for_each_run(wanted.own, false, wanted.end(),
                     [this](off_t first, off_t count) { set_lock(m_fd, F_UNLCK, first, count); });
}

void ClaimedFile::withdraw()
{
    if (std::exchange(m_holds, false))
        set_lock(m_fd, F_UNLCK, announced, byte_count);
}

DWORD ClaimedFile::take(const Claim& wanted)
{
    Patience patience(gate_patience);
    bool is_announced = false;
    for (;;)
    {
        const Found found = look(m_fd, wanted.against);
        if (found == Found::nothing && is_announced)
        {
            settle(wanted);
            return 0;
        }
        if (found == Found::nothing)
        {
            announce(wanted);
            is_announced = true;
            continue;
        }
        if (found == Found::settled || wanted.denies())
        {
            withdraw();
            is_announced = false;
        }
        m_waited = true;
        if (found == Found::settled || !patience.pause())
        {
            withdraw();
            return ERROR_SHARING_VIOLATION;
        }
    }
}

DWORD ClaimedFile::claim(const ShareRequest& request)
{
    m_process = fork_count();
    if (!request.reads && !request.writes && !request.overwrites)
        return 0;
    Claim wanted;
    wanted.own[held] = true;
    wanted.own[reads] = request.reads;
    wanted.own[writes] = request.writes;
    wanted.own[denies_read] = !request.shares_read;
    wanted.own[denies_write] = !request.shares_write;
    wanted.against[denies_read] = request.reads;
    wanted.against[denies_write] = request.writes || request.overwrites;
    wanted.against[reads] = !request.shares_read;
    wanted.against[writes] = !request.shares_write;
    return take(wanted);
}

DWORD ClaimedFile::claim_removal()
{
    m_process = fork_count();
    Claim wanted;
    wanted.own[denies_read] = wanted.own[denies_write] = true;
    wanted.against[held] = true;
    wanted.settles = false;
    return take(wanted);
}

bool ClaimedFile::lost_its_name(const struct stat& status, const char* native_path) const
{
    struct stat named;
    return (status.st_nlink == 0 || m_waited) &&
           (sys::stat(native_path, &named) != 0 || !is_same_file(status, named));
}

DeleteClaim::DeleteClaim(const char* native_path)
{
    do
    {
        open(native_path);
        claim();
    } while (!m_error && is_late(native_path));
}

DeleteClaim::DeleteClaim(const char* native_path, DeleteClaim& other, const char* other_path)
{
    const auto number = [](const DeleteClaim& of)
    { return std::pair(of.m_status.st_dev, of.m_status.st_ino); };
    do
    {
        open(native_path);
        other.open(other_path);
        if (is_same_as(other))
            other.m_file.reset();
        const bool is_first = number(*this) <= number(other);
        (is_first ? *this : other).claim();
        (is_first ? other : *this).claim();
    } while (!m_error && !other.m_error && (is_late(native_path) || other.is_late(other_path)));
}

void DeleteClaim::open(const char* native_path)
{
    m_file.reset();
    m_exists = sys::lstat(native_path, &m_status) == 0;
    if (!m_exists || !S_ISREG(m_status.st_mode))
        return;
    // A descriptor that can't read can't announce, but it can query the locks of others.
    for (const int mode : {O_RDONLY, O_WRONLY})
        if (m_file < 0)
            m_file.reset(sys::open(native_path, mode | O_NONBLOCK | O_NOFOLLOW, 0, &m_status));
}

bool DeleteClaim::is_same_as(const DeleteClaim& other) const
{
    return m_exists && other.m_exists && is_same_file(m_status, other.m_status);
}

bool DeleteClaim::is_late(const char* native_path) const
{
    struct stat found;
    return m_file >= 0 && sys::fstat(m_file, &found) == 0 &&
           m_file.lost_its_name(found, native_path);
}

} // namespace platform
