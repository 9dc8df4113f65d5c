// Socket errors: the table from errno, and the thread's last error, which socket calls share with
// all others.
#include "socket.h"

#include <cerrno>

using namespace platform;

namespace platform
{

int socket_error(int error)
{
    static constexpr struct
    {
        int error;
        int wsa;
    } table[] = {
        {EINTR, WSAEINTR},
        {EBADF, WSAENOTSOCK},
        {EACCES, WSAEACCES},
        {EPERM, WSAEACCES},
        {EFAULT, WSAEFAULT},
        {EINVAL, WSAEINVAL},
        {EMFILE, WSAEMFILE},
        {ENFILE, WSAEMFILE},
        {EAGAIN, WSAEWOULDBLOCK},
        {EINPROGRESS, WSAEWOULDBLOCK},
        {EALREADY, WSAEALREADY},
        {ENOTSOCK, WSAENOTSOCK},
        {EDESTADDRREQ, WSAEDESTADDRREQ},
        {EMSGSIZE, WSAEMSGSIZE},
        {EPROTOTYPE, WSAEPROTOTYPE},
        {ENOPROTOOPT, WSAENOPROTOOPT},
        {EPROTONOSUPPORT, WSAEPROTONOSUPPORT},
        {ESOCKTNOSUPPORT, WSAESOCKTNOSUPPORT},
        {EOPNOTSUPP, WSAEOPNOTSUPP},
        {EPFNOSUPPORT, WSAEPFNOSUPPORT},
        {EAFNOSUPPORT, WSAEAFNOSUPPORT},
        {EADDRINUSE, WSAEADDRINUSE},
        {EADDRNOTAVAIL, WSAEADDRNOTAVAIL},
        {ENETDOWN, WSAENETDOWN},
        {ENETUNREACH, WSAENETUNREACH},
        {ENETRESET, WSAENETRESET},
        {ECONNABORTED, WSAECONNABORTED},
        {ECONNRESET, WSAECONNRESET},
        {ENOBUFS, WSAENOBUFS},
        {ENOMEM, WSAENOBUFS},
        {EISCONN, WSAEISCONN},
        {ENOTCONN, WSAENOTCONN},
        {ESHUTDOWN, WSAESHUTDOWN},
        {EPIPE, WSAECONNRESET},
        {ETOOMANYREFS, WSAETOOMANYREFS},
        {ETIMEDOUT, WSAETIMEDOUT},
        {ECONNREFUSED, WSAECONNREFUSED},
        {ELOOP, WSAELOOP},
        {ENAMETOOLONG, WSAENAMETOOLONG},
        {EHOSTDOWN, WSAEHOSTDOWN},
        {EHOSTUNREACH, WSAEHOSTUNREACH},
    };
    for (const auto& row : table)
        if (row.error == error)
            return row.wsa;
    return WSASYSCALLFAILURE;
}

int fail_socket(int wsa_error)
{
    SetLastError(static_cast<DWORD>(wsa_error));
    return SOCKET_ERROR;
}

int fail_call(const SocketObject& object, int error)
{
    if (object.is_closing)
        return fail_socket(WSAEINTR);
    // The socket's own time-out; the two only mean "not now" on a socket that never waits.
    if ((error == EAGAIN || error == EINPROGRESS) && !object.is_non_blocking)
        return fail_socket(WSAETIMEDOUT);
    // This errno has three reasons.
    if (error == EPIPE && object.sends_no_more)
        return fail_socket(WSAESHUTDOWN);
    if (error == EPIPE && !object.had_connection)
        return fail_socket(WSAENOTCONN);
    // The answer to a datagram that no socket received.
    if (error == ECONNREFUSED && !object.is_stream)
        return fail_socket(WSAECONNRESET);
    return fail_socket(socket_error(error));
}

} // namespace platform

extern "C" int WSAGetLastError(void)
{
    return static_cast<int>(GetLastError());
}

extern "C" void WSASetLastError(int error)
{
    SetLastError(static_cast<DWORD>(error));
}
