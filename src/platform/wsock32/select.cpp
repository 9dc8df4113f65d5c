// Waiting for several sockets. The sets are lists, so any number of sockets with any descriptors
// works; the wait uses poll().
#include "open_sockets.h"
#include "socket.h"

#include <algorithm>
#include <deque>
#include <new>
#include <unordered_map>
#include <vector>

#include "system/calls.h"
#include "system/clock.h"

using namespace platform;

namespace
{

constexpr LONG microseconds = 1'000'000;
constexpr int64_t nanoseconds = 1'000'000'000;
constexpr int64_t rest = nanoseconds / 20;

// The wishes of the sets, as the events by which poll() reports them. A failed connect is reported
// as an error, which poll() always reports.
constexpr short readable = POLLIN;
constexpr short writable = POLLOUT;
constexpr short failed = POLLPRI; // or urgent data

int64_t after(const TIMEVAL& interval)
{
    return monotonic_ns() + interval.tv_sec * nanoseconds + interval.tv_usec * 1000;
}

class Watch
{
public:
    // False, with the last error set, if a member of the set is not a socket.
    bool add(const FD_SET* set, short wish)
    {
        for (UINT i = 0; set && i < set->fd_count; ++i)
        {
            const auto [found, is_new] = m_index.try_emplace(set->fd_array[i], m_entries.size());
            if (is_new)
            {
                const SocketPin& socket = m_sockets.emplace_back(set->fd_array[i]);
                if (!socket)
                    return false;
                m_waiting.emplace_back(*socket);
                m_entries.push_back({socket->fd, 0, 0});
            }
            m_entries[found->second].events |= wish;
        }
        return true;
    }

    bool is_empty() const { return m_entries.empty(); }

    // Waits until a wish comes true or the moment is reached (-1: no limit). A socket error; 0 also
    // after the moment.
    int wait(int64_t deadline)
    {
        for (;;)
        {
            if (is_cancelled())
                return WSAENOTSOCK;
            const int64_t moment = m_resting ? monotonic_ns() + rest : deadline;
            const bool looks_again = m_resting && (deadline < 0 || moment < deadline);
            const int got =
                poll_until(m_entries.data(), m_entries.size(), looks_again ? moment : deadline);
            if (got < 0 && errno != EINTR)
                return socket_error(errno);
            if (got == 0 && !looks_again)
                return 0;
            if (got == 0)
                wake_resting();
            if (got > 0 && (is_cancelled() || any_came_true()))
                return is_cancelled() ? WSAENOTSOCK : 0;
        }
    }

    // Keeps in the set only the sockets whose wish came true, and returns their number.
    int keep(FD_SET* set, short wish) const
    {
        if (!set)
            return 0;
        UINT kept = 0;
        for (UINT i = 0; i < set->fd_count; ++i)
            if (came_true(m_index.at(set->fd_array[i]), wish))
                set->fd_array[kept++] = set->fd_array[i];
        set->fd_count = kept;
        return static_cast<int>(kept);
    }

private:
    bool is_cancelled() const
    {
        for (const Waiting& each : m_waiting)
            if (each.is_cancelled())
                return true;
        return false;
    }

    bool came_true(size_t index, short wish) const
    {
        const short got = m_entries[index].revents;
        const SocketObject& socket = *m_sockets[index];
        // A socket that was never connected: the kernel reports it like a connection that has
        // ended.
        if ((got & POLLHUP) && socket.is_stream && !socket.had_connection)
            return false;
        const bool connect_failed = socket.is_connecting && (got & POLLERR);
        if (wish == failed)
            return connect_failed || (got & POLLPRI);
        const int also = wish == readable ? POLLHUP | POLLERR : POLLERR; // found by the next call
        return !connect_failed && (got & (wish | also));
    }

    // A socket that only reports events for which no set waits is left out for a moment, as it
    // would report them again at once. (It may be connected or closed meanwhile.)
    bool any_came_true()
    {
        bool any = false;
        for (size_t i = 0; i < m_entries.size(); ++i)
        {
            pollfd& entry = m_entries[i];
            if (entry.revents == 0)
                continue;
            if ((entry.revents & POLLOUT) && !(entry.revents & POLLERR))
                m_sockets[i]->is_connecting = false;
            bool wanted = false;
            for (const short wish : {readable, writable, failed})
                wanted = wanted || ((entry.events & wish) && came_true(i, wish));
            if (!wanted)
            {
                entry.fd = -1;
                m_resting = true;
            }
            any = any || wanted;
        }
        return any;
    }

    void wake_resting()
    {
        for (size_t i = 0; i < m_entries.size(); ++i)
            m_entries[i].fd = m_sockets[i]->fd;
        m_resting = false;
    }

    bool m_resting = false;                     // whether a socket is left out
    std::unordered_map<SOCKET, size_t> m_index; // index into the other members
    std::deque<SocketPin> m_sockets;
    std::deque<Waiting> m_waiting;
    std::vector<pollfd> m_entries;
};

int wait_for_sets(FD_SET* read, FD_SET* write, FD_SET* except, const TIMEVAL* timeout)
{
    Watch watch;
    if (!watch.add(read, readable) || !watch.add(write, writable) || !watch.add(except, failed))
        return SOCKET_ERROR;
    if (watch.is_empty())
        return fail_socket(WSAEINVAL);
    if (const int error = watch.wait(timeout ? after(*timeout) : -1))
        return fail_socket(error);
    return watch.keep(read, readable) + watch.keep(write, writable) + watch.keep(except, failed);
}

} // namespace

namespace platform
{

int poll_until(pollfd* entries, size_t count, int64_t deadline)
{
    if (deadline < 0)
        return sys::ppoll(entries, count, nullptr);
    const int64_t left = std::max<int64_t>(deadline - monotonic_ns(), 0);
    const timespec interval = {left / nanoseconds, left % nanoseconds};
    return sys::ppoll(entries, count, &interval);
}

} // namespace platform

extern "C" int plinth_wsock_select(int, FD_SET* read, FD_SET* write, FD_SET* except,
                                   const TIMEVAL* timeout)
{
    if (!sockets_are_started())
        return fail_socket(WSANOTINITIALISED);
    if (timeout &&
        (timeout->tv_sec < 0 || timeout->tv_usec < 0 || timeout->tv_usec >= microseconds))
        return fail_socket(WSAEINVAL);
    try
    {
        return wait_for_sets(read, write, except, timeout);
    }
    catch (const std::bad_alloc&)
    {
        return fail_socket(WSAENOBUFS);
    }
}

extern "C" int __WSAFDIsSet(SOCKET s, FD_SET* set)
{
    for (UINT i = 0; set && i < set->fd_count; ++i)
        if (set->fd_array[i] == s)
            return 1;
    return 0;
}
