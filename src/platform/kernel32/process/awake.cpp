// The locks that keep the machine awake, and SetThreadExecutionState.
//
// A lock is an open descriptor or a connection, so that all are released when the process ends,
// however it ends.
#include "awake.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "system/bus.h"
#include "system/calls.h"
#include "system/exception_guard.h"
#include "system/fork.h"
#include "system/last_error.h"
#include "system/own_descriptor.h"
#include "system/text.h"
#include "windows.h"

namespace platform
{

namespace
{

constexpr const char* default_reason = "Power saving is turned off";

struct Lock
{
    unsigned demands = 0;
    std::unique_ptr<OwnDescriptor> held; // of the login manager; null: none
    std::string reason;
};

struct Locks
{
    std::mutex lock; // guards all below; no other lock is taken while it is held
    Lock each[inhibition_count];
    ScreenSaverLock screen_saver;
    std::string reason = default_reason;
};

constinit OfProcess<Locks> g_locks; // kept to the very end of the process: threads end then too

Locks& locks()
{
    return g_locks.get();
}

std::string program_name()
{
    const char* const name = program_invocation_short_name;
    return is_utf8(name, std::strlen(name)) ? name : "plinth";
}

const char* login_name_of(Inhibition what)
{
    switch (what)
    {
    case Inhibition::idle:
        return "idle";
    case Inhibition::sleep:
        return "sleep";
    default:
        return "shutdown";
    }
}

// Null without a lock of the login manager.
std::unique_ptr<OwnDescriptor> take_lock(Inhibition what, const std::string& reason)
{
    const int fd = take_login_lock(login_name_of(what), program_name(), reason);
    if (fd < 0)
        return nullptr;
    struct stat found;
    std::unique_ptr<OwnDescriptor> taken(new (std::nothrow) OwnDescriptor);
    if (taken && sys::fstat(fd, &found) == 0)
        taken->take(fd, found);
    else
    {
        sys::close(fd);
        taken.reset();
    }
    return taken;
}

// Takes or releases one lock as demanded. Needs the lock. A new one is taken before the old one is
// released.
void apply(Inhibition what)
{
    Lock& mine = locks().each[static_cast<unsigned>(what)];
    const bool is_saver = what == Inhibition::screen_saver;
    // The program may have closed it, as daemons close all descriptors.
    const bool held =
        is_saver ? locks().screen_saver.is_held() : mine.held && mine.held->checked_number() >= 0;
    if (mine.demands == 0)
    {
        if (is_saver)
            locks().screen_saver.release();
        else
            mine.held.reset();
        return;
    }
    if (held && mine.reason == locks().reason)
        return;
    mine.reason = locks().reason;
    if (is_saver)
        return locks().screen_saver.take(program_name(), mine.reason);
    if (auto taken = take_lock(what, mine.reason))
        mine.held = std::move(taken);
}

// The calling thread's requirements; they end with it.
class ThreadState
{
public:
    ~ThreadState() { set(ES_CONTINUOUS); }
    EXECUTION_STATE set(EXECUTION_STATE state)
    {
        const EXECUTION_STATE former = m_state;
        m_state = state;
        change(former, state, ES_SYSTEM_REQUIRED, Inhibition::idle);
        change(former, state, ES_AWAYMODE_REQUIRED, Inhibition::sleep);
        change(former, state, ES_DISPLAY_REQUIRED, Inhibition::screen_saver);
        return former;
    }
    EXECUTION_STATE get() const { return m_state; }
    void forget() { m_state = ES_CONTINUOUS; }

private:
    static void change(EXECUTION_STATE former, EXECUTION_STATE state, EXECUTION_STATE bit,
                       Inhibition what)
    {
        if ((state & bit) && !(former & bit))
            demand(what);
        if (!(state & bit) && (former & bit))
            end_demand(what);
    }

    EXECUTION_STATE m_state = ES_CONTINUOUS;
};
thread_local ThreadState t_state;

// A child has no requirements and releases its copies of its parent's locks: a lock of the login
// manager lasts until the last copy of its descriptor is closed. Another thread of the parent may
// have been waiting for the bus under the lock.
void forget_in_child()
{
    t_state.forget();
    if (const Locks* const former = g_locks.renew())
        for (const Lock& each : former->each)
            if (each.held)
                each.held->close();
}

const AtFork g_at_fork(ForkStep::awake, {nullptr, nullptr, forget_in_child});

} // namespace

void demand(Inhibition what)
{
    const std::lock_guard guard(locks().lock);
    ++locks().each[static_cast<unsigned>(what)].demands;
    apply(what);
}

void end_demand(Inhibition what)
{
    const std::lock_guard guard(locks().lock);
    Lock& mine = locks().each[static_cast<unsigned>(what)];
    if (mine.demands > 0 && --mine.demands == 0)
        apply(what);
}

void set_inhibition_reason(const std::string& reason)
{
    const std::lock_guard guard(locks().lock);
    locks().reason = reason;
    for (unsigned i = 0; i < inhibition_count; ++i)
        apply(static_cast<Inhibition>(i));
}

} // namespace platform

using namespace platform;

extern "C" EXECUTION_STATE SetThreadExecutionState(EXECUTION_STATE state)
{
    constexpr EXECUTION_STATE known =
        ES_CONTINUOUS | ES_SYSTEM_REQUIRED | ES_DISPLAY_REQUIRED | ES_AWAYMODE_REQUIRED;
    if ((state & ~known) || (!(state & ES_CONTINUOUS) && (state & ES_AWAYMODE_REQUIRED)))
        return static_cast<EXECUTION_STATE>(fail_with(ERROR_INVALID_PARAMETER));
    try
    {
        // Without ES_CONTINUOUS it only restarts the idle time, which nothing here counts.
        return (state & ES_CONTINUOUS) ? t_state.set(state) : t_state.get();
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, EXECUTION_STATE{});
    }
}
