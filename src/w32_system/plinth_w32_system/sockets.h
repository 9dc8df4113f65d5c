// Sockets and look-ups of hosts, services and protocols.
#ifndef PLINTH_W32_SYSTEM_SOCKETS_H
#define PLINTH_W32_SYSTEM_SOCKETS_H

#include <cstdint>

#include "base.h"

extern "C"
{
    // -------------------------------------------------------------------------------- sockets --
    //
    // The system's own sockets, version 1.1, IPv4 on Linux. Constants, flags and the meaning of
    // each argument are the system's. Status here is QV_OK or QV_ERR_FAILED, and the system's error
    // number (WSAE...) stays readable through WSAGetLastError. "As the system": its own result,
    // with INVALID_SOCKET or SOCKET_ERROR (-1) for a failure. Length pointers are in and out; they
    // must not be null, unless the address beside them is null too.
    //
    // The records are those of <winsock.h> under their names in capitals (SOCKADDR_IN, FD_SET,
    // TIMEVAL), which are the same types on Windows. On Linux include <winsock.h> where you need
    // the constants or the names in lower case: in that file SOL_SOCKET, timeval and the like are
    // then those of Windows, not those of the C library, whose records have other layouts.

    // Each success needs its QV_DoneSocket. Status.
    QV_API int QV_InitSocket(void);
    QV_API int QV_DoneSocket(void);

    QV_API SOCKET QV_Socket(int af, int type, int protocol);     // as the system
    QV_API int QV_CloseSocket(SOCKET s);                         // status
    QV_API int QV_Bind(SOCKET s, const SOCKADDR* addr, int len); // status

    // Status; QV_OK also if a non-blocking socket is still connecting. QV_Select reports the
    // result: the socket is writable after success, and in the set of failures otherwise.
    QV_API int QV_Connect(SOCKET s, const SOCKADDR* addr, int len);
    QV_API int QV_Listen(SOCKET s, int backlog); // status

    // As the system. addr and len may both be null.
    QV_API SOCKET QV_Accept(SOCKET s, SOCKADDR* addr, int* len);

    // As the system: the number of bytes moved, which may be fewer than requested; 0 from QV_Recv
    // when the other side has shut down.
    QV_API int QV_Send(SOCKET s, const char* buf, int len, int flags);
    QV_API int QV_Recv(SOCKET s, char* buf, int len, int flags);
    QV_API int QV_SendTo(SOCKET s, const char* buf, int len, int flags, const SOCKADDR* to,
                         int tolen);
    QV_API int QV_RecvFrom(SOCKET s, char* buf, int len, int flags, SOCKADDR* from, int* fromlen);

    // As the system: the number of sockets left in the sets, 0 when the time is over. n is ignored.
    // A null set is empty, a null time has no limit. FD_SET holds 64 sockets; a longer list of the
    // same layout may be passed instead.
    QV_API int QV_Select(int n, FD_SET* r, FD_SET* w, FD_SET* e, const TIMEVAL* t);

    // Status.
    QV_API int QV_GetSockOpt(SOCKET s, int level, int name, char* value, int* len);
    QV_API int QV_SetSockOpt(SOCKET s, int level, int name, const char* value, int len);
    QV_API int QV_IoctlSocket(SOCKET s, LONG cmd, ULONG* arg);
    QV_API int QV_GetPeerName(SOCKET s, SOCKADDR* addr, int* len);
    QV_API int QV_GetSockName(SOCKET s, SOCKADDR* addr, int* len);
    QV_API int QV_Shutdown(SOCKET s, int how);

    // Convert between the machine's byte order and the network's.
    QV_API ULONG QV_HtoNl(ULONG value);
    QV_API USHORT QV_HtoNs(USHORT value);
    QV_API ULONG QV_NtoHl(ULONG value);
    QV_API USHORT QV_NtoHs(USHORT value);

    // The address in network byte order; 0xFFFFFFFF for a text that is no address.
    QV_API ULONG QV_Inet_Addr(const char* text);

    // Status. A buffer of size bytes without room for text and terminator is not changed.
    QV_API int QV_Inet_NtoA(char* buf, unsigned int size, IN_ADDR addr);

    // Status; if the name does not fit into len bytes, the system decides what name holds.
    QV_API int QV_GetHostName(char* name, int len);
}

// The results of the look-ups. The pointers point into memory of the system that is valid until the
// next look-up on the same thread. Ports are in network byte order.
struct QV_HOSTENT
{
    char* h_name;       // official name
    char** h_aliases;   // ends with null, as all lists here
    int16_t h_addrtype; // AF_INET
    int16_t h_length;   // bytes of each address
    char** h_addr_list; // each of h_length bytes, in network byte order
};

// See QV_HOSTENT.
struct QV_SERVENT
{
    char* s_name;     // official name
    char** s_aliases; // further names
    int16_t s_port;   // in network byte order
    char* s_proto;    // the protocol's name
};

// See QV_HOSTENT.
struct QV_PROTOENT
{
    char* p_name;     // official name
    char** p_aliases; // further names
    int16_t p_proto;  // number
};

extern "C"
{
    // QV_OK, or QV_ERR_FAILED if nothing is found; out is then unchanged. A null proto means any
    // protocol. Looking up hosts may take as long as the network needs.
    QV_API int QV_GetHostByAddr(QV_HOSTENT* out, const char* addr, int len, int type);
    QV_API int QV_GetHostByName(QV_HOSTENT* out, const char* name);
    QV_API int QV_GetServByPort(QV_SERVENT* out, short port, const char* proto);
    QV_API int QV_GetServByName(QV_SERVENT* out, const char* name, const char* proto);
    QV_API int QV_GetProtoByNumber(QV_PROTOENT* out, int number);
    QV_API int QV_GetProtoByName(QV_PROTOENT* out, const char* name);
}

#endif
