// Sockets: version 1.1 of the Windows interface, IPv4.
//
// A SOCKET is a handle of the one table of kernel handles: a closed or foreign one returns
// WSAENOTSOCK, and select() works with any number of them. Functions other than the conversions
// need WSAStartup first. A failure returns SOCKET_ERROR, INVALID_SOCKET or null, with the reason in
// WSAGetLastError, which is the thread's last error. No call raises SIGPIPE. docs/platform.md lists
// where the stand-in knowingly differs.
//
// Many names of the interface are the C library's own, with other types, values or behaviour. This
// header declares everything under names of its own and then maps the SDK's to them, as <tchar.h>
// does. It includes the C library's headers first, so that their include guards keep them from
// undoing the mapping later. In a file that includes it, socket() and SOL_SOCKET mean those of
// Windows. To get types and constants without the function names (std::bind is one of them), define
// INCL_WINSOCK_API_PROTOTYPES as 0 before including it.
#ifndef PLINTH_PLATFORM_WINSOCK_H
#define PLINTH_PLATFORM_WINSOCK_H

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/types.h>
#include <unistd.h>

#include "winbase.h"
#include "winsock_types.h"

#ifdef __cplusplus
extern "C"
{
#endif

// Errors.
#define WSAEINTR 10004
#define WSAEBADF 10009
#define WSAEACCES 10013
#define WSAEFAULT 10014
#define WSAEINVAL 10022
#define WSAEMFILE 10024
#define WSAEWOULDBLOCK 10035
#define WSAEINPROGRESS 10036
#define WSAEALREADY 10037
#define WSAENOTSOCK 10038
#define WSAEDESTADDRREQ 10039
#define WSAEMSGSIZE 10040
#define WSAEPROTOTYPE 10041
#define WSAENOPROTOOPT 10042
#define WSAEPROTONOSUPPORT 10043
#define WSAESOCKTNOSUPPORT 10044
#define WSAEOPNOTSUPP 10045
#define WSAEPFNOSUPPORT 10046
#define WSAEAFNOSUPPORT 10047
#define WSAEADDRINUSE 10048
#define WSAEADDRNOTAVAIL 10049
#define WSAENETDOWN 10050
#define WSAENETUNREACH 10051
#define WSAENETRESET 10052
#define WSAECONNABORTED 10053
#define WSAECONNRESET 10054
#define WSAENOBUFS 10055
#define WSAEISCONN 10056
#define WSAENOTCONN 10057
#define WSAESHUTDOWN 10058
#define WSAETOOMANYREFS 10059
#define WSAETIMEDOUT 10060
#define WSAECONNREFUSED 10061
#define WSAELOOP 10062
#define WSAENAMETOOLONG 10063
#define WSAEHOSTDOWN 10064
#define WSAEHOSTUNREACH 10065
#define WSASYSNOTREADY 10091
#define WSAVERNOTSUPPORTED 10092
#define WSANOTINITIALISED 10093
#define WSASYSCALLFAILURE 10107
#define WSAHOST_NOT_FOUND 11001
#define WSATRY_AGAIN 11002
#define WSANO_RECOVERY 11003
#define WSANO_DATA 11004

// Families, kinds and protocols.
#define PLINTH_AF_UNSPEC 0
#define PLINTH_AF_INET 2
#define PLINTH_PF_INET 2
#define PLINTH_SOCK_STREAM 1
#define PLINTH_SOCK_DGRAM 2
#define PLINTH_SOCK_RAW 3
#define PLINTH_IPPROTO_IP 0
#define PLINTH_IPPROTO_ICMP 1
#define PLINTH_IPPROTO_TCP 6
#define PLINTH_IPPROTO_UDP 17

// Levels and options.
#define PLINTH_SOL_SOCKET 0xFFFF
#define PLINTH_SO_DEBUG 0x0001
#define PLINTH_SO_ACCEPTCONN 0x0002
#define PLINTH_SO_REUSEADDR 0x0004
#define PLINTH_SO_KEEPALIVE 0x0008
#define PLINTH_SO_DONTROUTE 0x0010
#define PLINTH_SO_BROADCAST 0x0020
#define PLINTH_SO_LINGER 0x0080
#define PLINTH_SO_DONTLINGER (~0x0080)
#define PLINTH_SO_OOBINLINE 0x0100
#define PLINTH_SO_SNDBUF 0x1001
#define PLINTH_SO_RCVBUF 0x1002
#define PLINTH_SO_SNDTIMEO 0x1005
#define PLINTH_SO_RCVTIMEO 0x1006
#define PLINTH_SO_ERROR 0x1007
#define PLINTH_SO_TYPE 0x1008
#define PLINTH_IP_MULTICAST_IF 2
#define PLINTH_IP_MULTICAST_TTL 3
#define PLINTH_IP_MULTICAST_LOOP 4
#define PLINTH_IP_TTL 7
#define PLINTH_IP_TOS 8
#define PLINTH_TCP_NODELAY 0x0001

// Flags of transfers, directions, requests.
#define PLINTH_MSG_OOB 0x1
#define PLINTH_MSG_PEEK 0x2
#define PLINTH_MSG_DONTROUTE 0x4
#define PLINTH_SOMAXCONN 0x7FFFFFFF
#define PLINTH_FIONBIO ((LONG)0x8004667E)
#define PLINTH_FIONREAD ((LONG)0x4004667F)
#define PLINTH_SIOCATMARK ((LONG)0x40047307)

    // Starts the use of sockets; each success needs a WSACleanup. Accepts requests for 1.1 and
    // above and grants 1.1. The last cleanup closes the sockets that are still open.
    PLINTH_PLATFORM_API int WINAPI WSAStartup(WORD wanted, LPWSADATA data);
    PLINTH_PLATFORM_API int WINAPI WSACleanup(void);
    PLINTH_PLATFORM_API int WINAPI WSAGetLastError(void);
    PLINTH_PLATFORM_API void WINAPI WSASetLastError(int error);

    // Closes a socket; a call that waits on it in another thread fails with WSAEINTR.
    PLINTH_PLATFORM_API int WINAPI closesocket(SOCKET s);
    PLINTH_PLATFORM_API int WINAPI ioctlsocket(SOCKET s, LONG request, ULONG* argument);
    PLINTH_PLATFORM_API int WINAPI __WSAFDIsSet(SOCKET s, FD_SET* set);

    PLINTH_PLATFORM_API SOCKET WINAPI plinth_wsock_socket(int family, int type, int protocol);
    PLINTH_PLATFORM_API int WINAPI plinth_wsock_bind(SOCKET s, const SOCKADDR* address, int length);
    PLINTH_PLATFORM_API int WINAPI plinth_wsock_connect(SOCKET s, const SOCKADDR* address,
                                                        int length);
    PLINTH_PLATFORM_API int WINAPI plinth_wsock_listen(SOCKET s, int backlog);
    PLINTH_PLATFORM_API SOCKET WINAPI plinth_wsock_accept(SOCKET s, SOCKADDR* address, int* length);
    PLINTH_PLATFORM_API int WINAPI plinth_wsock_shutdown(SOCKET s, int how);
    PLINTH_PLATFORM_API int WINAPI plinth_wsock_send(SOCKET s, const char* buffer, int length,
                                                     int flags);
    PLINTH_PLATFORM_API int WINAPI plinth_wsock_recv(SOCKET s, char* buffer, int length, int flags);
    PLINTH_PLATFORM_API int WINAPI plinth_wsock_sendto(SOCKET s, const char* buffer, int length,
                                                       int flags, const SOCKADDR* to, int toLength);
    PLINTH_PLATFORM_API int WINAPI plinth_wsock_recvfrom(SOCKET s, char* buffer, int length,
                                                         int flags, SOCKADDR* from,
                                                         int* fromLength);
    PLINTH_PLATFORM_API int WINAPI plinth_wsock_select(int ignored, FD_SET* readable,
                                                       FD_SET* writable, FD_SET* failed,
                                                       const TIMEVAL* timeout);
    PLINTH_PLATFORM_API int WINAPI plinth_wsock_getsockopt(SOCKET s, int level, int option,
                                                           char* value, int* length);
    PLINTH_PLATFORM_API int WINAPI plinth_wsock_setsockopt(SOCKET s, int level, int option,
                                                           const char* value, int length);
    PLINTH_PLATFORM_API int WINAPI plinth_wsock_getpeername(SOCKET s, SOCKADDR* address,
                                                            int* length);
    PLINTH_PLATFORM_API int WINAPI plinth_wsock_getsockname(SOCKET s, SOCKADDR* address,
                                                            int* length);
    PLINTH_PLATFORM_API ULONG WINAPI plinth_wsock_inet_addr(const char* text);
    PLINTH_PLATFORM_API char* WINAPI plinth_wsock_inet_ntoa(IN_ADDR address);
    PLINTH_PLATFORM_API int WINAPI plinth_wsock_gethostname(char* name, int length);
    PLINTH_PLATFORM_API HOSTENT* WINAPI plinth_wsock_gethostbyaddr(const char* address, int length,
                                                                   int family);
    PLINTH_PLATFORM_API HOSTENT* WINAPI plinth_wsock_gethostbyname(const char* name);
    PLINTH_PLATFORM_API SERVENT* WINAPI plinth_wsock_getservbyport(int port, const char* protocol);
    PLINTH_PLATFORM_API SERVENT* WINAPI plinth_wsock_getservbyname(const char* name,
                                                                   const char* protocol);
    PLINTH_PLATFORM_API PROTOENT* WINAPI plinth_wsock_getprotobynumber(int number);
    PLINTH_PLATFORM_API PROTOENT* WINAPI plinth_wsock_getprotobyname(const char* name);

    static inline ULONG plinth_wsock_swap_long(ULONG value)
    {
        return __builtin_bswap32(value);
    }
    static inline USHORT plinth_wsock_swap_short(USHORT value)
    {
        return __builtin_bswap16(value);
    }

#ifdef __cplusplus
}
#endif

#ifndef PLINTH_PLATFORM_NO_SOCKET_NAMES

// Types.
#define in_addr plinth_in_addr
#define sockaddr plinth_sockaddr
#define sockaddr_in plinth_sockaddr_in
#define timeval plinth_timeval
#define fd_set plinth_fd_set
#define linger plinth_linger
#define hostent plinth_hostent
#define servent plinth_servent
#define protoent plinth_protoent
#define u_long plinth_u_long

// Constants. Several are macros of the C library too.
#undef AF_UNSPEC
#undef AF_INET
#undef PF_INET
#undef SOCK_STREAM
#undef SOCK_DGRAM
#undef SOCK_RAW
#undef IPPROTO_IP
#undef IPPROTO_ICMP
#undef IPPROTO_TCP
#undef IPPROTO_UDP
#undef SOL_SOCKET
#undef SO_DEBUG
#undef SO_ACCEPTCONN
#undef SO_REUSEADDR
#undef SO_KEEPALIVE
#undef SO_DONTROUTE
#undef SO_BROADCAST
#undef SO_LINGER
#undef SO_DONTLINGER
#undef SO_OOBINLINE
#undef SO_SNDBUF
#undef SO_RCVBUF
#undef SO_SNDTIMEO
#undef SO_RCVTIMEO
#undef SO_ERROR
#undef SO_TYPE
#undef IP_MULTICAST_IF
#undef IP_MULTICAST_TTL
#undef IP_MULTICAST_LOOP
#undef IP_TTL
#undef IP_TOS
#undef TCP_NODELAY
#undef MSG_OOB
#undef MSG_PEEK
#undef MSG_DONTROUTE
#undef SOMAXCONN
#undef FIONBIO
#undef FIONREAD
#undef SIOCATMARK
#undef INADDR_ANY
#undef INADDR_LOOPBACK
#undef INADDR_BROADCAST
#undef INADDR_NONE
#undef FD_SETSIZE
#undef FD_CLR
#undef FD_SET
#undef FD_ZERO
#undef FD_ISSET

#define AF_UNSPEC PLINTH_AF_UNSPEC
#define AF_INET PLINTH_AF_INET
#define PF_INET PLINTH_PF_INET
#define SOCK_STREAM PLINTH_SOCK_STREAM
#define SOCK_DGRAM PLINTH_SOCK_DGRAM
#define SOCK_RAW PLINTH_SOCK_RAW
#define IPPROTO_IP PLINTH_IPPROTO_IP
#define IPPROTO_ICMP PLINTH_IPPROTO_ICMP
#define IPPROTO_TCP PLINTH_IPPROTO_TCP
#define IPPROTO_UDP PLINTH_IPPROTO_UDP
#define SOL_SOCKET PLINTH_SOL_SOCKET
#define SO_DEBUG PLINTH_SO_DEBUG
#define SO_ACCEPTCONN PLINTH_SO_ACCEPTCONN
#define SO_REUSEADDR PLINTH_SO_REUSEADDR
#define SO_KEEPALIVE PLINTH_SO_KEEPALIVE
#define SO_DONTROUTE PLINTH_SO_DONTROUTE
#define SO_BROADCAST PLINTH_SO_BROADCAST
#define SO_LINGER PLINTH_SO_LINGER
#define SO_DONTLINGER PLINTH_SO_DONTLINGER
#define SO_OOBINLINE PLINTH_SO_OOBINLINE
#define SO_SNDBUF PLINTH_SO_SNDBUF
#define SO_RCVBUF PLINTH_SO_RCVBUF
#define SO_SNDTIMEO PLINTH_SO_SNDTIMEO
#define SO_RCVTIMEO PLINTH_SO_RCVTIMEO
#define SO_ERROR PLINTH_SO_ERROR
#define SO_TYPE PLINTH_SO_TYPE
#define IP_MULTICAST_IF PLINTH_IP_MULTICAST_IF
#define IP_MULTICAST_TTL PLINTH_IP_MULTICAST_TTL
#define IP_MULTICAST_LOOP PLINTH_IP_MULTICAST_LOOP
#define IP_TTL PLINTH_IP_TTL
#define IP_TOS PLINTH_IP_TOS
#define TCP_NODELAY PLINTH_TCP_NODELAY
#define MSG_OOB PLINTH_MSG_OOB
#define MSG_PEEK PLINTH_MSG_PEEK
#define MSG_DONTROUTE PLINTH_MSG_DONTROUTE
#define SOMAXCONN PLINTH_SOMAXCONN
#define FIONBIO PLINTH_FIONBIO
#define FIONREAD PLINTH_FIONREAD
#define SIOCATMARK PLINTH_SIOCATMARK
#define INADDR_ANY ((ULONG)0)
#define INADDR_LOOPBACK ((ULONG)0x7F000001)
#define INADDR_BROADCAST ((ULONG)0xFFFFFFFF)
#define INADDR_NONE ((ULONG)0xFFFFFFFF)
#define FD_SETSIZE 64

static inline void plinth_wsock_fd_clr(SOCKET s, FD_SET* set)
{
    for (UINT i = 0; i < set->fd_count; ++i)
        if (set->fd_array[i] == s)
        {
            for (--set->fd_count; i < set->fd_count; ++i)
                set->fd_array[i] = set->fd_array[i + 1];
            return;
        }
}
static inline void plinth_wsock_fd_set(SOCKET s, FD_SET* set)
{
    if (set->fd_count < FD_SETSIZE)
        set->fd_array[set->fd_count++] = s;
}
#define FD_CLR(s, set) plinth_wsock_fd_clr((SOCKET)(s), set)
#define FD_SET(s, set) plinth_wsock_fd_set((SOCKET)(s), set)
#define FD_ZERO(set) ((void)((set)->fd_count = 0))
#define FD_ISSET(s, set) __WSAFDIsSet((SOCKET)(s), set)

#ifndef INCL_WINSOCK_API_PROTOTYPES
#define INCL_WINSOCK_API_PROTOTYPES 1
#endif
#if INCL_WINSOCK_API_PROTOTYPES
#undef htonl
#undef htons
#undef ntohl
#undef ntohs
#define htonl plinth_wsock_swap_long
#define htons plinth_wsock_swap_short
#define ntohl plinth_wsock_swap_long
#define ntohs plinth_wsock_swap_short
#define socket plinth_wsock_socket
#define bind plinth_wsock_bind
#define connect plinth_wsock_connect
#define listen plinth_wsock_listen
#define accept plinth_wsock_accept
#define shutdown plinth_wsock_shutdown
#define send plinth_wsock_send
#define recv plinth_wsock_recv
#define sendto plinth_wsock_sendto
#define recvfrom plinth_wsock_recvfrom
#define select plinth_wsock_select
#define getsockopt plinth_wsock_getsockopt
#define setsockopt plinth_wsock_setsockopt
#define getpeername plinth_wsock_getpeername
#define getsockname plinth_wsock_getsockname
#define inet_addr plinth_wsock_inet_addr
#define inet_ntoa plinth_wsock_inet_ntoa
#define gethostname plinth_wsock_gethostname
#define gethostbyaddr plinth_wsock_gethostbyaddr
#define gethostbyname plinth_wsock_gethostbyname
#define getservbyport plinth_wsock_getservbyport
#define getservbyname plinth_wsock_getservbyname
#define getprotobynumber plinth_wsock_getprotobynumber
#define getprotobyname plinth_wsock_getprotobyname
#endif
#endif

#endif
