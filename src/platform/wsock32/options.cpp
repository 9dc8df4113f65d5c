// Options and requests of sockets: converts numbers, sizes and units between the interface and
// Linux.
#include "socket.h"

#include <algorithm>
#include <cstring>

#include "system/calls.h"

using namespace platform;

namespace
{

enum class Form
{
    number,      // a 32-bit number or truth value
    buffer_size, // a number that the kernel doubles for its own needs
    patience,    // a time-out, stored in the object; ms, 0 for none
    linger,
    no_linger, // a truth value: linger turned off
    error,     // the socket's pending error
};

struct Option
{
    int level;
    int name;
    Form form;
    int native_level;
    int native_name;
};

constexpr Option options[] = {
    {PLINTH_SOL_SOCKET, PLINTH_SO_DEBUG, Form::number, SOL_SOCKET, SO_DEBUG},
    {PLINTH_SOL_SOCKET, PLINTH_SO_ACCEPTCONN, Form::number, SOL_SOCKET, SO_ACCEPTCONN},
    {PLINTH_SOL_SOCKET, PLINTH_SO_REUSEADDR, Form::number, SOL_SOCKET, SO_REUSEADDR},
    {PLINTH_SOL_SOCKET, PLINTH_SO_KEEPALIVE, Form::number, SOL_SOCKET, SO_KEEPALIVE},
    {PLINTH_SOL_SOCKET, PLINTH_SO_DONTROUTE, Form::number, SOL_SOCKET, SO_DONTROUTE},
    {PLINTH_SOL_SOCKET, PLINTH_SO_BROADCAST, Form::number, SOL_SOCKET, SO_BROADCAST},
    {PLINTH_SOL_SOCKET, PLINTH_SO_LINGER, Form::linger, SOL_SOCKET, SO_LINGER},
    {PLINTH_SOL_SOCKET, PLINTH_SO_DONTLINGER, Form::no_linger, SOL_SOCKET, SO_LINGER},
    {PLINTH_SOL_SOCKET, PLINTH_SO_OOBINLINE, Form::number, SOL_SOCKET, SO_OOBINLINE},
    {PLINTH_SOL_SOCKET, PLINTH_SO_SNDBUF, Form::buffer_size, SOL_SOCKET, SO_SNDBUF},
    {PLINTH_SOL_SOCKET, PLINTH_SO_RCVBUF, Form::buffer_size, SOL_SOCKET, SO_RCVBUF},
    {PLINTH_SOL_SOCKET, PLINTH_SO_SNDTIMEO, Form::patience, SOL_SOCKET, SO_SNDTIMEO},
    {PLINTH_SOL_SOCKET, PLINTH_SO_RCVTIMEO, Form::patience, SOL_SOCKET, SO_RCVTIMEO},
    {PLINTH_SOL_SOCKET, PLINTH_SO_ERROR, Form::error, SOL_SOCKET, SO_ERROR},
    {PLINTH_SOL_SOCKET, PLINTH_SO_TYPE, Form::number, SOL_SOCKET, SO_TYPE},
    {PLINTH_IPPROTO_IP, PLINTH_IP_MULTICAST_IF, Form::number, IPPROTO_IP, IP_MULTICAST_IF},
    {PLINTH_IPPROTO_IP, PLINTH_IP_MULTICAST_TTL, Form::number, IPPROTO_IP, IP_MULTICAST_TTL},
    {PLINTH_IPPROTO_IP, PLINTH_IP_MULTICAST_LOOP, Form::number, IPPROTO_IP, IP_MULTICAST_LOOP},
    {PLINTH_IPPROTO_IP, PLINTH_IP_TTL, Form::number, IPPROTO_IP, IP_TTL},
    {PLINTH_IPPROTO_IP, PLINTH_IP_TOS, Form::number, IPPROTO_IP, IP_TOS},
    {PLINTH_IPPROTO_TCP, PLINTH_TCP_NODELAY, Form::number, IPPROTO_TCP, TCP_NODELAY},
};

// Null, with the last error set, if the socket doesn't have the option.
const Option* find_option(const SocketObject& socket, int level, int name)
{
    bool is_known_level = level == PLINTH_IPPROTO_UDP;
    for (const Option& option : options)
    {
        is_known_level |= option.level == level;
        const bool lingers = option.form == Form::linger || option.form == Form::no_linger;
        if (option.level == level && option.name == name && (socket.is_stream || !lingers))
            return &option;
    }
    fail_socket(is_known_level ? WSAENOPROTOOPT : WSAEINVAL);
    return nullptr;
}

// A value being set or read.
struct Value
{
    int32_t number = 0;
    LINGER linger = {};
};

bool is_linger(const Option& option)
{
    return option.form == Form::linger;
}

int size_of(const Option& option)
{
    return is_linger(option) ? sizeof(LINGER) : sizeof(int32_t);
}

template <class T> int get_native(int fd, const Option& option, T& value)
{
    socklen_t length = sizeof value;
    return sys::getsockopt(fd, option.native_level, option.native_name, &value, &length);
}

template <class T> int set_native(int fd, const Option& option, const T& value)
{
    return sys::setsockopt(fd, option.native_level, option.native_name, &value, sizeof value);
}

std::atomic<DWORD>& patience_of(SocketObject& socket, const Option& option)
{
    return option.native_name == SO_SNDTIMEO ? socket.send_patience : socket.receive_patience;
}

int get_value(SocketObject& socket, const Option& option, Value& value)
{
    const int fd = socket.fd;
    linger lingering = {};
    int result = 0;
    switch (option.form)
    {
    case Form::linger:
    case Form::no_linger:
        result = get_native(fd, option, lingering);
        value.linger = {static_cast<USHORT>(lingering.l_onoff != 0),
                        static_cast<USHORT>(lingering.l_linger)};
        value.number = lingering.l_onoff == 0;
        return result;
    case Form::patience:
        value.number = static_cast<int32_t>(patience_of(socket, option).load());
        return 0;
    case Form::error:
        settle_connect(socket);
        value.number = socket.connect_error.exchange(0);
        if (value.number == 0)
            result = get_native(fd, option, value.number);
        break;
    default:
        result = get_native(fd, option, value.number);
    }
    if (option.form == Form::buffer_size)
        value.number /= 2;
    if (option.form == Form::error && value.number != 0)
        value.number = socket_error(value.number);
    return result;
}

int set_value(SocketObject& socket, const Option& option, const Value& value)
{
    const int fd = socket.fd;
    switch (option.form)
    {
    case Form::linger:
        return set_native(fd, option, linger{value.linger.l_onoff != 0, value.linger.l_linger});
    case Form::no_linger:
        return set_native(fd, option, linger{value.number == 0, 0});
    case Form::patience:
        patience_of(socket, option) = static_cast<DWORD>(value.number);
        return 0;
    default:
        return set_native(fd, option, value.number);
    }
}

bool has_urgent_data(const SocketObject& socket)
{
    pollfd entry = {socket.fd, POLLPRI, 0};
    return poll_until(&entry, 1, 0) > 0 && (entry.revents & POLLPRI) != 0;
}

} // namespace

extern "C" int plinth_wsock_getsockopt(SOCKET s, int level, int name, char* value, int* length)
{
    const SocketPin socket(s);
    if (!socket)
        return SOCKET_ERROR;
    const Option* const option = find_option(*socket, level, name);
    if (!option)
        return SOCKET_ERROR;
    if (!value || !length || *length < size_of(*option))
        return fail_socket(WSAEFAULT);
    Value found;
    if (get_value(*socket, *option, found) != 0)
        return fail_call(*socket, errno);
    *length = size_of(*option);
    std::memcpy(value, is_linger(*option) ? static_cast<void*>(&found.linger) : &found.number,
                static_cast<size_t>(*length));
    return 0;
}

extern "C" int plinth_wsock_setsockopt(SOCKET s, int level, int name, const char* value, int length)
{
    const SocketPin socket(s);
    if (!socket)
        return SOCKET_ERROR;
    const Option* const option = find_option(*socket, level, name);
    if (!option)
        return SOCKET_ERROR;
    if (!value || length < size_of(*option))
        return fail_socket(WSAEFAULT);
    Value wanted;
    std::memcpy(is_linger(*option) ? static_cast<void*>(&wanted.linger) : &wanted.number, value,
                static_cast<size_t>(size_of(*option)));
    return set_value(*socket, *option, wanted) == 0 ? 0 : fail_call(*socket, errno);
}

extern "C" int ioctlsocket(SOCKET s, LONG request, ULONG* argument)
{
    const SocketPin socket(s);
    if (!socket)
        return SOCKET_ERROR;
    if (!argument)
        return fail_socket(WSAEFAULT);
    int number = static_cast<int>(*argument != 0);
    switch (request)
    {
    case PLINTH_FIONBIO:
        if (sys::ioctl(socket->fd, FIONBIO, &number) != 0)
            return fail_call(*socket, errno);
        socket->is_non_blocking = number != 0;
        return 0;
    case PLINTH_FIONREAD:
        if (sys::ioctl(socket->fd, FIONREAD, &number) != 0)
            return fail_call(*socket, errno);
        *argument = static_cast<ULONG>(number);
        return 0;
    case PLINTH_SIOCATMARK:
        if (!socket->is_stream)
            return fail_socket(WSAEINVAL);
        if (sys::ioctl(socket->fd, SIOCATMARK, &number) != 0)
            return fail_call(*socket, errno);
        *argument = number != 0 || !has_urgent_data(*socket);
        return 0;
    default:
        return fail_socket(WSAEOPNOTSUPP);
    }
}
