#include "timed_lock.h"

#include <algorithm>
#include <atomic>

#include "calls.h"
#include "clock.h"
#include "fork.h"

namespace platform
{

namespace
{

// The kernel has no such wait with a time limit, so the lock is tried again and again: first after
// a pause in which most holders finish, then after longer ones. Each pause is cut by a random part,
// so that two waiters don't keep colliding.
constexpr int64_t first_pause = 20'000; // ns
constexpr int64_t longest_pause = 5'000'000;

struct flock range_of(short type, off_t first, off_t count)
{
    struct flock range = {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = first;
    range.l_len = count;
    return range;
}

// The descriptors with a lock of this process, each plus 1; 0 is a free place. A process has few at
// once: one that finds no place isn't recorded.
constexpr size_t places = 32;
constinit std::atomic<int> g_held[places] = {};

void replace_held(int before, int after)
{
    for (std::atomic<int>& place : g_held)
        if (int expected = before; place.compare_exchange_strong(expected, after))
            return;
}

// For a forked child. Uses close directly, not the counting entry: another thread of the parent may
// have held the counter's lock.
void close_held()
{
    for (std::atomic<int>& place : g_held)
        if (const int held = place.exchange(0))
            ::close(held - 1);
}

// 0 or an errno: ETIMEDOUT when the patience has ended.
int lock_patiently(Patience& patience, int fd, off_t first, off_t count)
{
    for (;;)
    {
        struct flock range = range_of(F_WRLCK, first, count);
        if (sys::fcntl_lock(fd, F_OFD_SETLK, &range) == 0)
        {
            replace_held(0, fd + 1);
            return 0;
        }
        if (errno != EAGAIN && errno != EACCES)
            return errno;
        if (!patience.pause())
            return ETIMEDOUT;
    }
}

const AtFork g_at_fork(ForkStep::gates, {nullptr, nullptr, close_held});

} // namespace

bool Patience::pause()
{
    const int64_t now = patience_clock_ns();
    if (!m_start)
        m_start = now;
    if (now - *m_start >= m_limit)
        return false;
    m_pause = m_pause == 0 ? first_pause : std::min(m_pause * 2, longest_pause);
    const timespec time{0, static_cast<long>(m_pause - now % (m_pause / 2))};
    sys::clock_nanosleep(CLOCK_MONOTONIC, 0, &time);
    return true;
}

void Patience::go_on(int64_t limit)
{
    m_limit = limit;
    m_pause = 0;
}

int lock_within(int64_t limit, int fd, off_t first, off_t count)
{
    Patience patience(limit);
    return lock_patiently(patience, fd, first, count);
}

int lock_in_turn(int64_t limit, int fd)
{
    constexpr int64_t queue_patience = 1'000'000'000; // ns: longer than many holders take together
    Patience patience(std::min(queue_patience, limit));
    const int queued = lock_patiently(patience, fd, 1, 1);
    if (queued != 0 && queued != ETIMEDOUT)
        return queued;
    patience.go_on(limit);
    const int error = lock_patiently(patience, fd, 0, 1);
    if (queued == 0)
        unlock(fd, 1, 1);
    return error;
}

void unlock(int fd, off_t first, off_t count)
{
    struct flock range = range_of(F_UNLCK, first, count);
    sys::fcntl_lock(fd, F_OFD_SETLK, &range);
    replace_held(fd + 1, 0);
}

} // namespace platform
