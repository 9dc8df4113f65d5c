// Whether the use of sockets has been started, and which sockets are open: the last cleanup closes
// them.
#pragma once

#include <unordered_set>

#include <windows.h>

#define PLINTH_PLATFORM_NO_SOCKET_NAMES // Linux's names are used beside Windows' own here
#include <winsock.h>

namespace platform
{

// Between WSAStartup and the last WSACleanup.
bool sockets_are_started();
// False without memory.
bool remember_socket(SOCKET s);
void forget_socket(SOCKET s);

void begin_sockets();
// False if the use has not been started. open: the sockets to close, if this was the last cleanup.
bool end_sockets(std::unordered_set<SOCKET>& open);

} // namespace platform
