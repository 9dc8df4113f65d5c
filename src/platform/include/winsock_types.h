// The records of the socket functions, under the SDK's names in capitals.
//
// <windows.h> includes these, as the SDK's does. They have the SDK's layouts, which differ from the
// C library's (a set is a list of sockets, a time has two 32-bit fields), and names that the C
// library doesn't have: a file that includes this may continue to use both. The names in lower
// case, the constants and the functions come with <winsock.h>.
#ifndef PLINTH_PLATFORM_WINSOCK_TYPES_H
#define PLINTH_PLATFORM_WINSOCK_TYPES_H

#include "windef.h"

#define _WINSOCKAPI_ // the SDK's mark that the types are defined

typedef UINT_PTR SOCKET; // a kernel handle
#define INVALID_SOCKET ((SOCKET)(~(SOCKET)0))
#define SOCKET_ERROR (-1)

typedef ULONG plinth_u_long;

typedef struct plinth_in_addr
{
    __extension__ union
    {
        union
        {
            struct
            {
                UCHAR s_b1, s_b2, s_b3, s_b4;
            } S_un_b;
            struct
            {
                USHORT s_w1, s_w2;
            } S_un_w;
            ULONG S_addr;
        } S_un;
        ULONG s_addr; // in network byte order
    };
} IN_ADDR, *PIN_ADDR, *LPIN_ADDR;

typedef struct plinth_sockaddr
{
    USHORT sa_family;
    char sa_data[14];
} SOCKADDR, *PSOCKADDR, *LPSOCKADDR;

typedef struct plinth_sockaddr_in
{
    SHORT sin_family;
    USHORT sin_port; // in network byte order
    IN_ADDR sin_addr;
    char sin_zero[8];
} SOCKADDR_IN, *PSOCKADDR_IN, *LPSOCKADDR_IN;

typedef struct plinth_timeval
{
    LONG tv_sec;
    LONG tv_usec;
} TIMEVAL, *PTIMEVAL, *LPTIMEVAL;

// select() trusts fd_count: a program may use a longer list.
typedef struct plinth_fd_set
{
    UINT fd_count;
    SOCKET fd_array[64];
} FD_SET, *PFD_SET, *LPFD_SET;

typedef struct plinth_linger
{
    USHORT l_onoff;
    USHORT l_linger; // seconds
} LINGER, *PLINGER, *LPLINGER;

typedef struct plinth_hostent
{
    char* h_name;
    char** h_aliases;
    SHORT h_addrtype;
    SHORT h_length;
    char** h_addr_list;
} HOSTENT, *PHOSTENT, *LPHOSTENT;

typedef struct plinth_servent
{
    char* s_name;
    char** s_aliases;
    char* s_proto; // before the port, in 64 bits
    SHORT s_port;  // in network byte order
} SERVENT, *PSERVENT, *LPSERVENT;

typedef struct plinth_protoent
{
    char* p_name;
    char** p_aliases;
    SHORT p_proto;
} PROTOENT, *PPROTOENT, *LPPROTOENT;

#define WSADESCRIPTION_LEN 256
#define WSASYS_STATUS_LEN 128

typedef struct WSAData
{
    WORD wVersion;
    WORD wHighVersion;
    USHORT iMaxSockets;
    USHORT iMaxUdpDg;
    char* lpVendorInfo;
    char szDescription[WSADESCRIPTION_LEN + 1];
    char szSystemStatus[WSASYS_STATUS_LEN + 1];
} WSADATA, *LPWSADATA;

#ifdef __cplusplus
static_assert(sizeof(SOCKADDR) == 16 && sizeof(SOCKADDR_IN) == 16 && sizeof(IN_ADDR) == 4);
static_assert(sizeof(TIMEVAL) == 8 && sizeof(FD_SET) == 520 && sizeof(LINGER) == 4);
static_assert(sizeof(HOSTENT) == 32 && sizeof(SERVENT) == 32 && sizeof(PROTOENT) == 24);
static_assert(offsetof(SERVENT, s_proto) == 16 && offsetof(SERVENT, s_port) == 24);
static_assert(sizeof(WSADATA) == 408 && offsetof(WSADATA, lpVendorInfo) == 8);
#endif

#endif
