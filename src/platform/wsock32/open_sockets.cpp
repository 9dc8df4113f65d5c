#include "open_sockets.h"

#include <atomic>
#include <mutex>
#include <new>
#include <utility>

#include "system/fork.h"
#include "system/immortal.h"

namespace platform
{

namespace
{

struct Session
{
    std::mutex lock; // guards open and changes of started; no other lock is taken meanwhile
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

} // namespace

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

void begin_sockets()
{
    const std::lock_guard guard(session().lock);
    ++session().started;
}

bool end_sockets(std::unordered_set<SOCKET>& open)
{
    const std::lock_guard guard(session().lock);
    if (session().started == 0)
        return false;
    if (--session().started == 0)
        open = std::exchange(session().open, {});
    return true;
}

} // namespace platform
