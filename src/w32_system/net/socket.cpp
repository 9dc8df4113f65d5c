// Sockets: the system's own, with one convention for status results.
#include <windows.h>

#include <winsock.h>

#include <cstring>

#include "plinth_w32_system.h"

namespace
{

constexpr WORD socket_version = 0x0101; // 1.1

int Status(int result)
{
    return result == 0 ? QV_OK : QV_ERR_FAILED;
}

} // namespace

extern "C" int QV_InitSocket(void)
{
    WSADATA data;
    if (WSAStartup(socket_version, &data) != 0)
        return QV_ERR_FAILED;
    if (data.wVersion == socket_version)
        return QV_OK;
    WSACleanup();
    return QV_ERR_FAILED;
}

extern "C" int QV_DoneSocket(void)
{
    return Status(WSACleanup());
}

extern "C" SOCKET QV_Socket(int af, int type, int protocol)
{
    return socket(af, type, protocol);
}

extern "C" int QV_CloseSocket(SOCKET s)
{
    return Status(closesocket(s));
}

extern "C" int QV_Bind(SOCKET s, const SOCKADDR* addr, int len)
{
    return Status(bind(s, addr, len));
}

extern "C" int QV_Connect(SOCKET s, const SOCKADDR* addr, int len)
{
    if (connect(s, addr, len) == 0)
        return QV_OK;
    // On a non-blocking socket the connection continues in the background.
    return WSAGetLastError() == WSAEWOULDBLOCK ? QV_OK : QV_ERR_FAILED;
}

extern "C" int QV_Listen(SOCKET s, int backlog)
{
    return Status(listen(s, backlog));
}

extern "C" SOCKET QV_Accept(SOCKET s, SOCKADDR* addr, int* len)
{
    return accept(s, addr, len);
}

extern "C" int QV_Send(SOCKET s, const char* buf, int len, int flags)
{
    return send(s, buf, len, flags);
}

extern "C" int QV_Recv(SOCKET s, char* buf, int len, int flags)
{
    return recv(s, buf, len, flags);
}

extern "C" int QV_SendTo(SOCKET s, const char* buf, int len, int flags, const SOCKADDR* to,
                         int tolen)
{
    return sendto(s, buf, len, flags, to, tolen);
}

extern "C" int QV_RecvFrom(SOCKET s, char* buf, int len, int flags, SOCKADDR* from, int* fromlen)
{
    return recvfrom(s, buf, len, flags, from, fromlen);
}

extern "C" int QV_Select(int n, FD_SET* r, FD_SET* w, FD_SET* e, const TIMEVAL* t)
{
    return select(n, r, w, e, const_cast<TIMEVAL*>(t)); // some systems declare it without const
}

extern "C" int QV_GetSockOpt(SOCKET s, int level, int name, char* value, int* len)
{
    return Status(getsockopt(s, level, name, value, len));
}

extern "C" int QV_SetSockOpt(SOCKET s, int level, int name, const char* value, int len)
{
    return Status(setsockopt(s, level, name, value, len));
}

extern "C" int QV_IoctlSocket(SOCKET s, LONG cmd, ULONG* arg)
{
    return Status(ioctlsocket(s, cmd, arg));
}

extern "C" int QV_GetPeerName(SOCKET s, SOCKADDR* addr, int* len)
{
    return Status(getpeername(s, addr, len));
}

extern "C" int QV_GetSockName(SOCKET s, SOCKADDR* addr, int* len)
{
    return Status(getsockname(s, addr, len));
}

extern "C" int QV_Shutdown(SOCKET s, int how)
{
    return Status(shutdown(s, how));
}

extern "C" ULONG QV_HtoNl(ULONG value)
{
    return htonl(value);
}

extern "C" USHORT QV_HtoNs(USHORT value)
{
    return htons(value);
}

extern "C" ULONG QV_NtoHl(ULONG value)
{
    return ntohl(value);
}

extern "C" USHORT QV_NtoHs(USHORT value)
{
    return ntohs(value);
}

extern "C" ULONG QV_Inet_Addr(const char* text)
{
    return inet_addr(text);
}

extern "C" int QV_Inet_NtoA(char* buf, unsigned int size, IN_ADDR addr)
{
    const char* const text = inet_ntoa(addr);
    if (!text || size < strlen32(text) + 1)
        return QV_ERR_FAILED;
    std::memcpy(buf, text, std::strlen(text) + 1);
    return QV_OK;
}
