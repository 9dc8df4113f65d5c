// Starting and ending the use of sockets.
#include <cstdio>

#include "open_sockets.h"
#include "socket.h"

using namespace platform;

namespace
{

constexpr WORD version_1_1 = MAKEWORD(1, 1);

// A version has the major number in its low byte.
bool is_below_1_1(WORD version)
{
    return LOBYTE(version) < 1 || (LOBYTE(version) == 1 && HIBYTE(version) < 1);
}

} // namespace

extern "C" int WSAStartup(WORD wanted, LPWSADATA data)
{
    if (!data)
        return WSAEFAULT;
    if (LOBYTE(wanted) == 0)
        return WSAVERNOTSUPPORTED;
    *data = {};
    data->wVersion = is_below_1_1(wanted) ? wanted : version_1_1;
    data->wHighVersion = version_1_1;
    data->iMaxSockets = 0x7FFF;
    data->iMaxUdpDg = 65'507;
    std::snprintf(data->szDescription, sizeof data->szDescription, "plinth sockets 1.1");
    std::snprintf(data->szSystemStatus, sizeof data->szSystemStatus, "Running");
    begin_sockets();
    return 0;
}

extern "C" int WSACleanup(void)
{
    std::unordered_set<SOCKET> open;
    if (!end_sockets(open))
        return fail_socket(WSANOTINITIALISED);
    for (const SOCKET s : open)
        close_socket(s);
    return 0;
}
