// SetConsoleCtrlHandler: makes console events from the signals that a terminal sends.
//
// A signal handler may do very little, so it only counts the event and wakes a thread of ours,
// which starts another thread for each event: a slow handler doesn't delay the next event. The
// signals are taken with the first handler and restored after the last one. A signal that the
// program ignored before (nohup, a job in the background) stays ignored.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <mutex>
#include <new>
#include <vector>

#include <pthread.h>

#include "kernel32/object/event_state.h"
#include "kernel32/object/handle_table.h"
#include "kernel32/thread/thread.h"
#include "system/calls.h"
#include "system/exception_guard.h"
#include "system/fork.h"
#include "system/last_error.h"
#include "windows.h"

using namespace platform;

namespace
{

constexpr int signals[] = {SIGINT, SIGQUIT}; // indexed by the number of the event
constexpr DWORD event_count = std::size(signals);

// Shared by the signal handler and the waiting thread.
constinit std::atomic<uint32_t> g_pending[event_count]{};
constinit std::atomic<uint32_t> g_wake{0};          // futex word, changed by each signal
constinit std::atomic<bool> g_is_dispatched{false}; // the waiting thread runs

struct Disposition
{
    bool ignored = false;
    bool taken = false;           // the current action is ours: the handler below, or SIG_IGN
    struct sigaction former = {}; // restored when no handler is left
};

struct Console
{
    std::mutex lock; // guards all of this
    std::vector<PHANDLER_ROUTINE> handlers;
    Disposition dispositions[event_count];
};

Console& console()
{
    // Never destroyed: events come until the very end of the process.
    alignas(Console) static unsigned char memory[sizeof(Console)];
    static Console& only = *new (memory) Console;
    return only;
}

void on_signal(int signal)
{
    const int error = errno;
    if (!g_is_dispatched)
    {
        // In a forked child where the thread could not be started.
        struct sigaction standard = {};
        standard.sa_handler = SIG_DFL;
        sys::sigaction(signal, &standard);
        sys::send_signal(static_cast<pid_t>(GetCurrentThreadId()), signal);
    }
    ++g_pending[signal == SIGINT ? CTRL_C_EVENT : CTRL_BREAK_EVENT];
    ++g_wake;
    futex_wake(&g_wake, 1, false);
    errno = error;
}

void end_by(int signal)
{
    struct sigaction standard = {};
    standard.sa_handler = SIG_DFL;
    sys::sigaction(signal, &standard);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    sys::send_signal(static_cast<pid_t>(GetCurrentThreadId()), signal);
    ExitProcess(STATUS_CONTROL_C_EXIT); // reached only if the signal was refused
}

PHANDLER_ROUTINE handler_at(size_t index)
{
    const std::lock_guard guard(console().lock);
    return index < console().handlers.size() ? console().handlers[index] : nullptr;
}

size_t handler_count()
{
    const std::lock_guard guard(console().lock);
    return console().handlers.size();
}

// A thread's procedure; the argument is the number of the event.
unsigned call_handlers(void* argument)
{
    const auto event = static_cast<DWORD>(reinterpret_cast<uintptr_t>(argument));
    // The list is not copied, as there may be no memory. A handler may be removed meanwhile.
    for (size_t i = handler_count(); i > 0; --i)
        if (const PHANDLER_ROUTINE handler = handler_at(i - 1); handler && handler(event))
            return 0;
    end_by(signals[event]);
    return 0;
}

void deliver(DWORD event)
{
    void* const argument = reinterpret_cast<void*>(uintptr_t{event});
    if (const HANDLE thread = start_thread(call_handlers, argument, 0, nullptr))
        close_handle(thread);
    else
        call_handlers(argument);
}

void* dispatch(void*)
{
    for (;;)
    {
        const uint32_t seen = g_wake;
        for (DWORD event = 0; event < event_count; ++event)
            for (uint32_t count = g_pending[event].exchange(0); count > 0; --count)
                deliver(event);
        futex_wait(&g_wake, seen, -1, false);
    }
}

// 0 or a system error. Needs the lock, or to be called by the only thread of a forked child.
DWORD start_dispatching()
{
    if (g_is_dispatched)
        return 0;
    sigset_t all;
    sigset_t former;
    sigfillset(&all);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    pthread_sigmask(SIG_SETMASK, &all, &former); // the thread starts with all signals blocked
    const int error = sys::pthread_create(&thread, &attributes, dispatch, nullptr);
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
    pthread_attr_destroy(&attributes);
    g_is_dispatched = error == 0;
    return error == EAGAIN ? ERROR_NO_SYSTEM_RESOURCES : error ? system_error(error) : 0;
}

// Reads the action that the program has set for the signal. 0 or a system error.
DWORD learn(Disposition& of, int signal)
{
    if (of.taken)
        return 0;
    if (sys::sigaction(signal, nullptr, &of.former) != 0)
        return system_error(errno);
    of.ignored = of.former.sa_handler == SIG_IGN;
    of.taken = of.ignored;
    if (of.ignored)
        of.former.sa_handler = SIG_DFL;
    return 0;
}

DWORD learn_all(Console& state)
{
    for (DWORD event = 0; event < event_count; ++event)
        if (const DWORD error = learn(state.dispositions[event], signals[event]))
            return error;
    return 0;
}

// Sets the action that the signal should have now. 0 or a system error.
DWORD apply_to(Disposition& of, int signal, bool has_handlers)
{
    struct sigaction action = {};
    action.sa_flags = SA_RESTART; // no call of the program is interrupted
    action.sa_handler = of.ignored ? SIG_IGN : on_signal;
    const bool takes = of.ignored || has_handlers;
    if (!takes && !of.taken)
        return 0;
    if (sys::sigaction(signal, takes ? &action : &of.former) != 0)
        return system_error(errno);
    of.taken = takes;
    return 0;
}

// 0 or a system error. Needs the lock.
DWORD apply(Console& state)
{
    if (!state.handlers.empty())
        if (const DWORD error = start_dispatching())
            return error;
    for (DWORD event = 0; event < event_count; ++event)
        if (const DWORD error =
                apply_to(state.dispositions[event], signals[event], !state.handlers.empty()))
            return error;
    return 0;
}

// Makes a change, and undoes it if the system refuses it. Needs the lock.
template <class Change, class Undo> BOOL change(Change make, Undo undo)
{
    DWORD error = learn_all(console());
    if (error)
        return fail_with(error);
    make();
    error = apply(console());
    if (error == 0)
        return TRUE;
    undo();
    apply(console());
    return fail_with(error);
}

BOOL ignore_c(bool ignores)
{
    bool& ignored = console().dispositions[CTRL_C_EVENT].ignored;
    bool former = false;
    return change(
        [&]
        {
            former = ignored;
            ignored = ignores;
        },
        [&] { ignored = former; });
}

BOOL add_handler(PHANDLER_ROUTINE handler)
{
    std::vector<PHANDLER_ROUTINE>& handlers = console().handlers;
    return change([&] { handlers.push_back(handler); }, [&] { handlers.pop_back(); });
}

BOOL remove_handler(PHANDLER_ROUTINE handler)
{
    std::vector<PHANDLER_ROUTINE>& handlers = console().handlers;
    const auto found = std::find(handlers.rbegin(), handlers.rend(), handler);
    if (found == handlers.rend())
        return fail_with(ERROR_INVALID_PARAMETER);
    const auto at = handlers.end() - (found - handlers.rbegin()) - 1;
    return change([&] { handlers.erase(at); }, [&] { handlers.insert(at, handler); });
}

// The waiting thread exists only in the parent.
void go_on_in_child()
{
    for (std::atomic<uint32_t>& each : g_pending)
        each = 0;
    g_is_dispatched = false;
    if (!console().handlers.empty())
        start_dispatching();
}

std::mutex& console_lock()
{
    return console().lock;
}

const AtFork g_at_fork(ForkStep::console_control, taken_at_fork<console_lock>(go_on_in_child));

} // namespace

extern "C" BOOL SetConsoleCtrlHandler(PHANDLER_ROUTINE handler, BOOL add)
try
{
    const std::lock_guard guard(console().lock);
    if (!handler)
        return ignore_c(add != 0);
    return add ? add_handler(handler) : remove_handler(handler);
}
catch (const std::exception& exception)
{
    return failed_by(exception, FALSE);
}
