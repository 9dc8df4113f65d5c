// Starting and ending the use of sockets.
#include <algorithm>
#include <cstdio>
#include <mutex>
#include <new>
#include <unordered_set>
#include <utility>

#include "socket.h"
#include "system/fork.h"
#include "system/immortal.h"

using namespace platform;

namespace
{

constexpr WORD version_1_1 = MAKEWORD(1, 1);

struct Session
{
    std::mutex lock; // guards open and the changes of started; no other lock is taken inside
    std::atomic<unsigned> started{0};
    std::unordered_set<SOCKET> open;
};

Session& session()
{
    static Immortal<Session> only;
    return *only;
}

std::mutex& session_lock()
{
    return session().lock;
}

const AtFork g_at_fork(ForkStep::sockets, taken_at_fork<session_lock>());

// Versions are the major number in the low byte.
bool is_below_1_1(WORD version)
{
    return LOBYTE(version) < 1 || (LOBYTE(version) == 1 && HIBYTE(version) < 1);
}

} // namespace

namespace platform
{

bool sockets_are_started()
{
    return session().started != 0;
}

bool remember_socket(SOCKET s)
{
    try
    {
        const std::lock_guard guard(session().lock);
        session().open.insert(s);
        return true;
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }
}

void forget_socket(SOCKET s)
{
    const std::lock_guard guard(session().lock);
    session().open.erase(s);
}

} // namespace platform

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
    const std::lock_guard guard(session().lock);
    ++session().started;
    return 0;
}

extern "C" int WSACleanup(void)
{
    std::unordered_set<SOCKET> open;
    {
        const std::lock_guard guard(session().lock);
        if (session().started == 0)
            return fail_socket(WSANOTINITIALISED);
        if (--session().started == 0)
            open = std::exchange(session().open, {});
    }
    for (const SOCKET s : open)
        close_socket(s);
    return 0;
}
