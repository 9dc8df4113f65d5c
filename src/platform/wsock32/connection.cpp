// Making, connecting and closing sockets.
#include "socket.h"

#include <cstring>
#include <new>

#include "open_sockets.h"
#include "system/calls.h"

using namespace platform;

namespace
{

static_assert(sizeof(sockaddr_in) == sizeof(SOCKADDR_IN) && AF_INET == PLINTH_AF_INET);
static_assert(offsetof(sockaddr_in, sin_port) == offsetof(SOCKADDR_IN, sin_port) &&
              offsetof(sockaddr_in, sin_addr) == offsetof(SOCKADDR_IN, sin_addr));
static_assert(SOCK_STREAM == PLINTH_SOCK_STREAM && SOCK_DGRAM == PLINTH_SOCK_DGRAM &&
              SOCK_RAW == PLINTH_SOCK_RAW);
// Directions of shutdown(), which has no names for them in this version of the interface.
static_assert(SHUT_RD == 0 && SHUT_WR == 1 && SHUT_RDWR == 2);

const sockaddr* generic(const sockaddr_in& address)
{
    return reinterpret_cast<const sockaddr*>(&address);
}

sockaddr* generic(sockaddr_in& address)
{
    return reinterpret_cast<sockaddr*>(&address);
}

// A connect that a signal interrupted continues: waits for its end. An errno.
int finish_connect(int fd)
{
    pollfd entry = {fd, POLLOUT, 0};
    int got = 0;
    do
        got = sys::ppoll(&entry, 1, nullptr);
    while (got < 0 && errno == EINTR);
    if (got < 0)
        return errno;
    int error = 0;
    socklen_t length = sizeof error;
    return sys::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) == 0 ? error : errno;
}

// Undoes the failed connect of a socket: the kernel otherwise treats it as connected and ended.
void disconnect(const SocketObject& object)
{
    sockaddr nobody = {};
    nobody.sa_family = AF_UNSPEC;
    sys::connect(object.fd, &nobody, sizeof nobody);
}

int connect_socket(SocketObject& object, const sockaddr_in& to)
{
    const Waiting waiting(object);
    if (waiting.is_cancelled())
        return fail_socket(WSAENOTSOCK);
    settle_connect(object);
    object.connect_error = 0;
    object.tried_connect = true;
    int error = 0;
    if (sys::connect(object.fd, generic(to), sizeof to) != 0)
        error = errno == EINTR ? finish_connect(object.fd) : errno;
    // The kernel reports the end of such a connect by one more success.
    if (object.began_connect.exchange(error == EINPROGRESS || error == EALREADY) && error == 0)
        error = EISCONN;
    object.is_connecting = object.is_non_blocking && (error == EINPROGRESS || error == EALREADY);
    if (error == 0 || object.is_connecting)
        object.had_connection = true;
    return error == 0 ? 0 : fail_call(object, error);
}

} // namespace

namespace platform
{

bool is_bound(int fd)
{
    sockaddr_in own = {};
    socklen_t length = sizeof own;
    return sys::getsockname(fd, generic(own), &length) == 0 && own.sin_port != 0;
}

SocketObject::~SocketObject()
{
    if (handle != INVALID_SOCKET)
        forget_socket(handle);
    sys::close(fd);
}

SocketPin::SocketPin(SOCKET s)
    : m_pin(reinterpret_cast<HANDLE>(s)), m_usable(m_pin && sockets_are_started())
{
    if (!m_usable)
        fail_socket(sockets_are_started() ? WSAENOTSOCK : WSANOTINITIALISED);
}

void settle_connect(SocketObject& object)
{
    pollfd entry = {object.fd, POLLOUT, 0};
    if (!object.is_connecting || poll_until(&entry, 1, 0) <= 0)
        return;
    if ((entry.revents & POLLERR) == 0)
    {
        object.is_connecting = false;
        return;
    }
    int error = 0;
    socklen_t length = sizeof error;
    sys::getsockopt(object.fd, SOL_SOCKET, SO_ERROR, &error, &length);
    object.connect_error = error;
    disconnect(object);
    object.is_connecting = object.began_connect = object.had_connection = false;
}

SOCKET insert_socket(int descriptor, int type, bool non_blocking, bool connected)
{
    auto* const object = new (std::nothrow) SocketObject(descriptor, type, non_blocking);
    if (object)
        object->had_connection = connected;
    else
        sys::close(descriptor);
    const HANDLE handle = insert_handle(object);
    if (!handle)
    {
        fail_socket(WSAENOBUFS);
        return INVALID_SOCKET;
    }
    const auto s = reinterpret_cast<SOCKET>(handle);
    object->handle = s;
    if (!remember_socket(s))
    {
        close_handle(handle);
        fail_socket(WSAENOBUFS);
        return INVALID_SOCKET;
    }
    return s;
}

bool close_socket(SOCKET s)
{
    const auto handle = reinterpret_cast<HANDLE>(s);
    const Pin<SocketObject> socket(handle);
    if (!socket || !close_handle(handle, ObjectKind::socket))
        return false; // no socket, or another thread was first
    socket->is_closing = true;
    // A call that counted itself before this is woken by the shutdown; a later one sees the flag.
    // The kernel wakes waiting calls even on a socket that has no connection to shut down.
    if (socket->waiting != 0)
        sys::shutdown(socket->fd, SHUT_RDWR);
    return true;
}

bool native_address(const SOCKADDR* address, int length, sockaddr_in& native)
{
    if (!address || length < static_cast<int>(sizeof native))
    {
        fail_socket(WSAEFAULT);
        return false;
    }
    std::memcpy(&native, address, sizeof native);
    return true;
}

bool has_room(const SOCKADDR* address, const int* length)
{
    if (!address || (length && *length >= static_cast<int>(sizeof(SOCKADDR_IN))))
        return true;
    fail_socket(WSAEFAULT);
    return false;
}

void store_address(const sockaddr_in& native, SOCKADDR* address, int* length)
{
    if (!address)
        return;
    std::memcpy(address, &native, sizeof native);
    *length = sizeof native;
}

} // namespace platform

extern "C" SOCKET plinth_wsock_socket(int family, int type, int protocol)
{
    int error = 0;
    if (!sockets_are_started())
        error = WSANOTINITIALISED;
    else if (family != PLINTH_AF_INET)
        error = WSAEAFNOSUPPORT;
    else if (type != SOCK_STREAM && type != SOCK_DGRAM && type != SOCK_RAW)
        error = WSAESOCKTNOSUPPORT;
    const int fd = error ? -1 : sys::socket(AF_INET, type, protocol);
    if (fd >= 0)
        return insert_socket(fd, type, false, false);
    fail_socket(error ? error : socket_error(errno));
    return INVALID_SOCKET;
}

extern "C" int closesocket(SOCKET s)
{
    if (!sockets_are_started())
        return fail_socket(WSANOTINITIALISED);
    return close_socket(s) ? 0 : fail_socket(WSAENOTSOCK);
}

extern "C" int plinth_wsock_bind(SOCKET s, const SOCKADDR* address, int length)
{
    const SocketPin socket(s);
    sockaddr_in native;
    if (!socket || !native_address(address, length, native))
        return SOCKET_ERROR;
    if (socket->tried_connect)
        return fail_socket(WSAEINVAL);
    return sys::bind(socket->fd, generic(native), sizeof native) == 0 ? 0
                                                                      : fail_call(*socket, errno);
}

extern "C" int plinth_wsock_connect(SOCKET s, const SOCKADDR* address, int length)
{
    const SocketPin socket(s);
    sockaddr_in native;
    if (!socket || !native_address(address, length, native))
        return SOCKET_ERROR;
    // Linux would take "any address" for this machine.
    if (socket->is_stream && native.sin_family == AF_INET &&
        (native.sin_addr.s_addr == 0 || native.sin_port == 0))
        return fail_socket(WSAEADDRNOTAVAIL);
    return connect_socket(*socket, native);
}

extern "C" int plinth_wsock_listen(SOCKET s, int backlog)
{
    const SocketPin socket(s);
    if (!socket)
        return SOCKET_ERROR;
    if (socket->is_stream && !is_bound(socket->fd))
        return fail_socket(WSAEINVAL);
    return sys::listen(socket->fd, backlog) == 0 ? 0 : fail_call(*socket, errno);
}

extern "C" SOCKET plinth_wsock_accept(SOCKET s, SOCKADDR* address, int* length)
{
    const SocketPin socket(s);
    if (!socket || !has_room(address, length))
        return INVALID_SOCKET;
    const Waiting waiting(*socket);
    if (waiting.is_cancelled())
    {
        fail_socket(WSAENOTSOCK);
        return INVALID_SOCKET;
    }
    sockaddr_in peer = {};
    socklen_t peer_length = sizeof peer;
    // The new socket waits or not like the listening one.
    const bool non_blocking = socket->is_non_blocking;
    const int fd =
        sys::accept(socket->fd, generic(peer), &peer_length, non_blocking ? SOCK_NONBLOCK : 0);
    if (fd < 0)
    {
        fail_call(*socket, errno);
        return INVALID_SOCKET;
    }
    store_address(peer, address, length);
    return insert_socket(fd, SOCK_STREAM, non_blocking, true);
}

extern "C" int plinth_wsock_shutdown(SOCKET s, int how)
{
    const SocketPin socket(s);
    if (!socket)
        return SOCKET_ERROR;
    if (how != SHUT_RD && how != SHUT_WR && how != SHUT_RDWR)
        return fail_socket(WSAEINVAL);
    // Linux requires an address of the other end, which datagrams need not have.
    if (sys::shutdown(socket->fd, how) != 0 && (socket->is_stream || errno != ENOTCONN))
        return fail_call(*socket, errno);
    if (how != SHUT_RD)
        socket->sends_no_more = true;
    if (how != SHUT_WR)
        socket->reads_no_more = true;
    return 0;
}

extern "C" int plinth_wsock_getpeername(SOCKET s, SOCKADDR* address, int* length)
{
    const SocketPin socket(s);
    if (!socket)
        return SOCKET_ERROR;
    if (!address || !has_room(address, length))
        return fail_socket(WSAEFAULT);
    sockaddr_in peer = {};
    socklen_t peer_length = sizeof peer;
    if (sys::getpeername(socket->fd, generic(peer), &peer_length) != 0)
        return fail_call(*socket, errno);
    store_address(peer, address, length);
    return 0;
}

extern "C" int plinth_wsock_getsockname(SOCKET s, SOCKADDR* address, int* length)
{
    const SocketPin socket(s);
    if (!socket)
        return SOCKET_ERROR;
    if (!address || !has_room(address, length))
        return fail_socket(WSAEFAULT);
    sockaddr_in own = {};
    socklen_t own_length = sizeof own;
    if (sys::getsockname(socket->fd, generic(own), &own_length) != 0)
        return fail_call(*socket, errno);
    if (own.sin_port == 0 && own.sin_addr.s_addr == 0)
        return fail_socket(WSAEINVAL); // the socket has no name yet
    store_address(own, address, length);
    return 0;
}
