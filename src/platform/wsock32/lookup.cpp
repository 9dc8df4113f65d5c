// Names of hosts, services and protocols.
//
// Each thread has one place for the records, which its next look-up of any kind reuses. The data of
// a record is in the buffer that the C library filled.
#include "open_sockets.h"
#include "socket.h"

#include <cstring>
#include <new>
#include <vector>

#include "system/calls.h"

using namespace platform;

namespace
{

constexpr size_t first_size = 1024;
constexpr size_t greatest_size = 1 << 20;
constexpr size_t name_size = 256;

struct Records
{
    std::vector<char> buffer;
    HOSTENT host;
    SERVENT service;
    PROTOENT protocol;
};
thread_local Records t_records;

// Calls look_up(buffer, size) with a buffer that grows while it is too small. An errno.
template <class LookUp> int with_buffer(LookUp look_up)
{
    std::vector<char>& buffer = t_records.buffer;
    if (buffer.empty())
        buffer.resize(first_size);
    int error = look_up(buffer.data(), buffer.size());
    while (error == ERANGE && buffer.size() < greatest_size)
    {
        buffer.resize(buffer.size() * 4);
        error = look_up(buffer.data(), buffer.size());
    }
    return error;
}

int host_error(int why, int error)
{
    switch (why)
    {
    case HOST_NOT_FOUND:
        return WSAHOST_NOT_FOUND;
    case TRY_AGAIN:
        return WSATRY_AGAIN;
    case NO_RECOVERY:
        return WSANO_RECOVERY;
    case NO_DATA:
        return WSANO_DATA;
    default:
        return socket_error(error);
    }
}

HOSTENT* found_host(const hostent* found, int why, int error)
{
    if (!found)
    {
        fail_socket(host_error(why, error));
        return nullptr;
    }
    HOSTENT& host = t_records.host;
    host.h_name = found->h_name;
    host.h_aliases = found->h_aliases;
    host.h_addrtype = static_cast<SHORT>(found->h_addrtype);
    host.h_length = static_cast<SHORT>(found->h_length);
    host.h_addr_list = found->h_addr_list;
    return &host;
}

SERVENT* found_service(const servent* found)
{
    if (!found)
    {
        fail_socket(WSANO_DATA);
        return nullptr;
    }
    SERVENT& service = t_records.service;
    service.s_name = found->s_name;
    service.s_aliases = found->s_aliases;
    service.s_proto = found->s_proto;
    service.s_port = static_cast<SHORT>(found->s_port);
    return &service;
}

PROTOENT* found_protocol(const protoent* found)
{
    if (!found)
    {
        fail_socket(WSANO_DATA);
        return nullptr;
    }
    PROTOENT& protocol = t_records.protocol;
    protocol.p_name = found->p_name;
    protocol.p_aliases = found->p_aliases;
    protocol.p_proto = static_cast<SHORT>(found->p_proto);
    return &protocol;
}

// A call may only return a record or null, and throw nothing.
template <class Call> auto guarded(Call call) -> decltype(call())
{
    if (!sockets_are_started())
    {
        fail_socket(WSANOTINITIALISED);
        return nullptr;
    }
    try
    {
        return call();
    }
    catch (const std::bad_alloc&)
    {
        fail_socket(WSAENOBUFS);
        return nullptr;
    }
}

template <class Record> Record* refuse(int error)
{
    fail_socket(error);
    return nullptr;
}

} // namespace

extern "C" int plinth_wsock_gethostname(char* name, int length)
{
    if (!sockets_are_started())
        return fail_socket(WSANOTINITIALISED);
    char own[name_size] = {};
    if (sys::gethostname(own, sizeof own - 1) != 0)
        return fail_socket(socket_error(errno));
    if (!name || length <= 0 || std::strlen(own) >= static_cast<size_t>(length))
        return fail_socket(WSAEFAULT);
    std::strcpy(name, own);
    return 0;
}

extern "C" HOSTENT* plinth_wsock_gethostbyname(const char* name)
{
    return guarded(
        [name]() -> HOSTENT*
        {
            char own[name_size] = {};
            const char* wanted = name;
            if (!name || !*name) // the name of this machine
            {
                if (sys::gethostname(own, sizeof own - 1) != 0)
                    return refuse<HOSTENT>(WSAHOST_NOT_FOUND);
                wanted = own;
            }
            hostent entry;
            hostent* found = nullptr;
            int why = 0;
            const int error = with_buffer(
                [&](char* buffer, size_t size)
                { return sys::gethostbyname(wanted, &entry, buffer, size, &found, &why); });
            return found_host(found, why, error);
        });
}

extern "C" HOSTENT* plinth_wsock_gethostbyaddr(const char* address, int length, int family)
{
    return guarded(
        [=]() -> HOSTENT*
        {
            if (family != PLINTH_AF_INET)
                return refuse<HOSTENT>(WSAEAFNOSUPPORT);
            if (!address || length < static_cast<int>(sizeof(in_addr)))
                return refuse<HOSTENT>(WSAEFAULT);
            hostent entry;
            hostent* found = nullptr;
            int why = 0;
            const int error = with_buffer(
                [&](char* buffer, size_t size)
                {
                    return sys::gethostbyaddr(address, sizeof(in_addr), AF_INET, &entry, buffer,
                                              size, &found, &why);
                });
            return found_host(found, why, error);
        });
}

extern "C" SERVENT* plinth_wsock_getservbyname(const char* name, const char* protocol)
{
    return guarded(
        [=]() -> SERVENT*
        {
            if (!name)
                return refuse<SERVENT>(WSAEFAULT);
            servent entry;
            servent* found = nullptr;
            with_buffer(
                [&](char* buffer, size_t size)
                { return sys::getservbyname(name, protocol, &entry, buffer, size, &found); });
            return found_service(found);
        });
}

// The port may come sign-extended: its low 16 bits count.
extern "C" SERVENT* plinth_wsock_getservbyport(int port, const char* protocol)
{
    return guarded(
        [=]() -> SERVENT*
        {
            servent entry;
            servent* found = nullptr;
            with_buffer(
                [&](char* buffer, size_t size) {
                    return sys::getservbyport(port & 0xFFFF, protocol, &entry, buffer, size,
                                              &found);
                });
            return found_service(found);
        });
}

extern "C" PROTOENT* plinth_wsock_getprotobyname(const char* name)
{
    return guarded(
        [name]() -> PROTOENT*
        {
            if (!name)
                return refuse<PROTOENT>(WSAEFAULT);
            protoent entry;
            protoent* found = nullptr;
            with_buffer([&](char* buffer, size_t size)
                        { return sys::getprotobyname(name, &entry, buffer, size, &found); });
            return found_protocol(found);
        });
}

extern "C" PROTOENT* plinth_wsock_getprotobynumber(int number)
{
    return guarded(
        [number]() -> PROTOENT*
        {
            protoent entry;
            protoent* found = nullptr;
            with_buffer([&](char* buffer, size_t size)
                        { return sys::getprotobynumber(number, &entry, buffer, size, &found); });
            return found_protocol(found);
        });
}
