// Converts addresses from and to text.
#include "socket.h"

#include <cstdio>

#include <arpa/inet.h>

extern "C" ULONG plinth_wsock_inet_addr(const char* text)
{
    in_addr address;
    // Accepts the short, octal and hexadecimal forms too, as the interface does.
    return text && ::inet_aton(text, &address) ? address.s_addr : INADDR_NONE;
}

// Valid until the thread's next call.
extern "C" char* plinth_wsock_inet_ntoa(IN_ADDR address)
{
    static thread_local char text[sizeof "255.255.255.255"];
    const auto& bytes = address.S_un.S_un_b;
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", bytes.s_b1, bytes.s_b2, bytes.s_b3, bytes.s_b4);
    return text;
}
