// Sending and receiving.
#include "socket.h"

#include <algorithm>

#include "kernel32/object/event_state.h"
#include "system/calls.h"

using namespace platform;

namespace
{

static_assert(MSG_OOB == PLINTH_MSG_OOB && MSG_PEEK == PLINTH_MSG_PEEK &&
              MSG_DONTROUTE == PLINTH_MSG_DONTROUTE);
constexpr int send_flags = MSG_OOB | MSG_DONTROUTE;
constexpr int receive_flags = MSG_OOB | MSG_PEEK;

// Checks a transfer before it begins. A socket error, or 0.
int refusal(const void* buffer, int length, int flags, int known_flags, bool shut_down)
{
    if (length < 0 || (!buffer && length != 0))
        return WSAEFAULT;
    if (flags & ~known_flags)
        return WSAEOPNOTSUPP;
    return shut_down ? WSAESHUTDOWN : 0;
}

// The kernel doesn't limit a transfer with a time-out, as each signal would restart the time: this
// class does.
class Patience
{
public:
    Patience(const SocketObject& object, DWORD milliseconds)
        : m_object(object), m_is_limited(milliseconds != 0 && milliseconds != INFINITE),
          m_deadline(m_is_limited ? deadline_after(milliseconds) : -1)
    {
    }

    // Flags with which the transfer's calls don't wait themselves.
    int flags() const { return m_is_limited ? MSG_DONTWAIT : 0; }

    // After a failed call: waits and returns true if a retry is worthwhile, else false with errno
    // unchanged.
    bool waited(short events) const
    {
        const int error = errno;
        if (m_is_limited && error == EAGAIN && !m_object.is_non_blocking)
        {
            pollfd entry = {m_object.fd, events, 0};
            int ready = -1;
            do
                ready = poll_until(&entry, 1, m_deadline);
            while (ready < 0 && errno == EINTR);
            if (ready > 0 && !m_object.is_closing)
                return true;
        }
        errno = error;
        return false;
    }

private:
    const SocketObject& m_object;
    const bool m_is_limited;
    const int64_t m_deadline;
};

// WSAENOTCONN while a connect is in progress, else 0; the state after a failed connect is reset
// first.
int connection_error(SocketObject& object)
{
    settle_connect(object);
    return object.is_connecting ? WSAENOTCONN : 0;
}

// A stream that may wait sends all bytes, unless an error stops it.
int send_bytes(SocketObject& object, const char* buffer, int length, int flags,
               const sockaddr_in* to)
{
    const Waiting waiting(object);
    if (waiting.is_cancelled())
        return fail_socket(WSAENOTSOCK);
    if (const int error = connection_error(object))
        return fail_socket(error);
    const Patience patience(object, object.send_patience);
    int sent = 0;
    do
    {
        const ssize_t done = sys::send(object.fd, buffer + sent, static_cast<size_t>(length - sent),
                                       flags | patience.flags(),
                                       reinterpret_cast<const sockaddr*>(to), to ? sizeof *to : 0);
        if (done < 0 && patience.waited(POLLOUT))
            continue;
        if (done < 0)
            return sent > 0 ? sent : fail_call(object, errno);
        sent += static_cast<int>(done);
    } while (sent < length && object.is_stream && !object.is_non_blocking);
    return sent;
}

// A datagram that is longer than the buffer fills it, but is still an error.
int receive_bytes(SocketObject& object, char* buffer, int length, int flags, sockaddr_in& from)
{
    const Waiting waiting(object);
    if (waiting.is_cancelled())
        return fail_socket(WSAENOTSOCK);
    if (const int error = connection_error(object))
        return fail_socket(error);
    const Patience patience(object, object.receive_patience);
    const int all_flags = flags | patience.flags() | (object.is_stream ? 0 : MSG_TRUNC);
    ssize_t got = 0;
    do
    {
        socklen_t from_length = sizeof from;
        got = sys::recv(object.fd, buffer, static_cast<size_t>(length), all_flags,
                        reinterpret_cast<sockaddr*>(&from), &from_length);
    } while (got < 0 && patience.waited(POLLIN));
    if (got < 0 || object.is_closing)
        return fail_call(object, errno);
    return got <= length ? static_cast<int>(got) : fail_socket(WSAEMSGSIZE);
}

} // namespace

extern "C" int plinth_wsock_sendto(SOCKET s, const char* buffer, int length, int flags,
                                   const SOCKADDR* to, int to_length)
{
    const SocketPin socket(s);
    if (!socket)
        return SOCKET_ERROR;
    if (const int error = refusal(buffer, length, flags, send_flags, socket->sends_no_more))
        return fail_socket(error);
    sockaddr_in native;
    if (!to || socket->is_stream) // a connection knows its other end
        return send_bytes(*socket, buffer, length, flags, nullptr);
    if (!native_address(to, to_length, native))
        return SOCKET_ERROR;
    return send_bytes(*socket, buffer, length, flags, &native);
}

extern "C" int plinth_wsock_send(SOCKET s, const char* buffer, int length, int flags)
{
    const SocketPin socket(s);
    if (!socket)
        return SOCKET_ERROR;
    if (const int error = refusal(buffer, length, flags, send_flags, socket->sends_no_more))
        return fail_socket(error);
    const int sent = send_bytes(*socket, buffer, length, flags, nullptr);
    // Without an address: the interface has another number for this error.
    return sent == SOCKET_ERROR && WSAGetLastError() == WSAEDESTADDRREQ ? fail_socket(WSAENOTCONN)
                                                                        : sent;
}

extern "C" int plinth_wsock_recvfrom(SOCKET s, char* buffer, int length, int flags, SOCKADDR* from,
                                     int* from_length)
{
    const SocketPin socket(s);
    if (!socket || !has_room(from, from_length))
        return SOCKET_ERROR;
    if (const int error = refusal(buffer, length, flags, receive_flags, socket->reads_no_more))
        return fail_socket(error);
    if (!socket->is_stream && !is_bound(socket->fd))
        return fail_socket(WSAEINVAL);
    sockaddr_in native = {};
    const int got = receive_bytes(*socket, buffer, length, flags, native);
    if (got != SOCKET_ERROR || WSAGetLastError() == WSAEMSGSIZE)
        if (native.sin_family == AF_INET) // a stream has no address
            store_address(native, from, from_length);
    return got;
}

extern "C" int plinth_wsock_recv(SOCKET s, char* buffer, int length, int flags)
{
    return plinth_wsock_recvfrom(s, buffer, length, flags, nullptr, nullptr);
}
