// Threads.
//
// A thread's state is shared by the thread and its handle, whichever lives longer; both ends know
// it by the futex word that says whether the thread has ended. Threads are detached: nobody joins.
//
// TerminateThread must end a thread wherever it is, also in a loop that calls nothing. Cancelling
// would unwind its stack through code that may not be unwound, so it is sent a signal, whose
// handler marks the thread as ended and leaves it by the bare system call. What the thread held
// stays held, as on the system.
#include "thread.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <memory>
#include <mutex>
#include <new>

#include "event_state.h"
#include "handle_table.h"
#include "system/calls.h"
#include "system/last_error.h"
#include "windows.h"

using namespace platform;

namespace
{

const HANDLE current_thread_handle = reinterpret_cast<HANDLE>(LONG_PTR{-2});

struct ThreadState
{
    std::atomic<uint32_t> ended{0}; // futex word
    std::atomic<DWORD> exit_code{STILL_ACTIVE};
    std::atomic<bool> terminating{false};
    std::atomic<uint32_t> id{0}; // 0 until the thread runs; futex word for the starter
    std::atomic<int> priority{THREAD_PRIORITY_NORMAL};
    pthread_t thread{};

    void end(DWORD code)
    {
        exit_code = code;
        ended = 1;
        futex_wake(&ended, INT32_MAX, false);
    }
};

using StatePointer = std::shared_ptr<ThreadState>;

struct Launch
{
    StatePointer state;
    ThreadStart start;
    void* argument;
};

// In the static block of thread data, so that the signal handler may read them.
__attribute__((tls_model("initial-exec"))) thread_local ThreadState* t_state = nullptr;
__attribute__((tls_model("initial-exec"))) thread_local pid_t t_id = 0;

int terminate_signal()
{
    return SIGRTMAX - 3;
}

void on_terminate(int)
{
    ThreadState* const state = t_state;
    // A thread that has taken over the number of one that ended is not meant.
    if (!state || !state->terminating.load())
        return;
    state->end(state->exit_code);
    ::syscall(SYS_exit, 0);
}

void forget_id_in_child()
{
    t_id = 0;
}

class ThreadObject : public Object
{
public:
    static constexpr ObjectKind object_kind = ObjectKind::thread;

    explicit ThreadObject(StatePointer state) : Object(object_kind), m_state(std::move(state)) {}

    DWORD wait(DWORD milliseconds) override
    {
        const int64_t deadline = deadline_after(milliseconds);
        while (m_state->ended == 0)
            if (milliseconds == 0 || !futex_wait(&m_state->ended, 0, deadline, false))
                return m_state->ended ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
        return WAIT_OBJECT_0;
    }
    ThreadState& state() const { return *m_state; }

private:
    const StatePointer m_state;
};

void* run_thread(void* argument)
{
    const std::unique_ptr<Launch> launch(static_cast<Launch*>(argument));
    const StatePointer state = launch->state;
    t_state = state.get();
    state->id = GetCurrentThreadId();
    futex_wake(&state->id, INT32_MAX, false);
    const DWORD code = launch->start(launch->argument);
    t_state = nullptr;
    state->end(code);
    return nullptr;
}

DWORD launch_thread(ThreadStart start, void* argument, size_t stack_size, StatePointer& state)
{
    state = std::make_shared<ThreadState>();
    auto launch = std::make_unique<Launch>(Launch{state, start, argument});
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    constexpr size_t least_stack = 64 * 1024;
    if (stack_size != 0)
        pthread_attr_setstacksize(&attributes, std::max(stack_size, least_stack));
    const int error = sys::pthread_create(&state->thread, &attributes, run_thread, launch.get());
    pthread_attr_destroy(&attributes);
    if (error)
        return error == EAGAIN ? ERROR_NO_SYSTEM_RESOURCES : system_error(error);
    static_cast<void>(launch.release()); // the thread owns it now
    return 0;
}

int nice_of(int priority)
{
    const struct
    {
        int priority;
        int nice;
    } levels[] = {{THREAD_PRIORITY_TIME_CRITICAL, -20}, {THREAD_PRIORITY_HIGHEST, -10},
                  {THREAD_PRIORITY_ABOVE_NORMAL, -5},   {THREAD_PRIORITY_NORMAL, 0},
                  {THREAD_PRIORITY_BELOW_NORMAL, 5},    {THREAD_PRIORITY_LOWEST, 10}};
    for (const auto& level : levels)
        if (priority >= level.priority)
            return level.nice;
    return 19;
}

// As far as the system allows: raising a priority takes a privilege, and going without it must not
// keep a listener from listening.
void apply_priority(pid_t id, int priority)
{
    sched_param parameters = {};
    const bool critical = priority >= THREAD_PRIORITY_TIME_CRITICAL;
    parameters.sched_priority = critical ? 1 : 0;
    if (::sched_setscheduler(id, critical ? SCHED_RR | SCHED_RESET_ON_FORK : SCHED_OTHER,
                             &parameters) == 0 &&
        critical)
        return;
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(id), nice_of(priority));
}

void wait_until_running(ThreadState& state)
{
    while (state.id == 0)
        futex_wait(&state.id, 0, -1, false);
}

} // namespace

namespace platform
{

HANDLE start_thread(ThreadStart start, void* argument, size_t stack_size, DWORD* id)
{
    try
    {
        StatePointer state;
        if (const DWORD error = launch_thread(start, argument, stack_size, state))
        {
            fail_with(error);
            return nullptr;
        }
        wait_until_running(*state);
        if (id)
            *id = state->id;
        return insert_handle(new ThreadObject(std::move(state)));
    }
    catch (const std::bad_alloc&)
    {
        fail_with(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
}

void end_thread(DWORD exit_code)
{
    if (ThreadState* const state = t_state)
    {
        t_state = nullptr;
        state->end(exit_code);
    }
    pthread_exit(nullptr);
}

} // namespace platform

extern "C" HANDLE CreateThread(LPSECURITY_ATTRIBUTES, SIZE_T stackSize,
                               LPTHREAD_START_ROUTINE start, LPVOID argument, DWORD, LPDWORD id)
{
    if (!start)
    {
        fail_with(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return start_thread(start, argument, stackSize, id);
}

extern "C" BOOL TerminateThread(HANDLE thread, DWORD exitCode)
{
    const Pin<ThreadObject> object(thread);
    if (!object)
        return FALSE;
    static const bool installed = []
    {
        struct sigaction action = {};
        action.sa_handler = on_terminate;
        action.sa_flags = SA_RESTART;
        return sigaction(terminate_signal(), &action, nullptr) == 0;
    }();
    ThreadState& state = object->state();
    if (!installed)
        return fail_with(ERROR_NO_SYSTEM_RESOURCES);
    if (state.ended != 0)
        return TRUE;
    state.exit_code = exitCode;
    state.terminating = true;
    ::syscall(SYS_tgkill, getpid(), static_cast<pid_t>(state.id.load()), terminate_signal());
    return TRUE;
}

extern "C" BOOL GetExitCodeThread(HANDLE thread, LPDWORD exitCode)
{
    const Pin<ThreadObject> object(thread);
    if (!object)
        return FALSE;
    *exitCode = object->state().ended ? object->state().exit_code.load() : STILL_ACTIVE;
    return TRUE;
}

extern "C" HANDLE GetCurrentThread(void)
{
    return current_thread_handle;
}

extern "C" DWORD GetCurrentThreadId(void)
{
    if (t_id == 0)
    {
        static const bool registered = pthread_atfork(nullptr, nullptr, forget_id_in_child) == 0;
        static_cast<void>(registered);
        t_id = static_cast<pid_t>(::syscall(SYS_gettid));
    }
    return static_cast<DWORD>(t_id);
}

extern "C" BOOL SetThreadPriority(HANDLE thread, int priority)
{
    int error = 0;
    if (api_fault("SetThreadPriority", error))
        return fail_with(static_cast<DWORD>(error));
    if (thread == current_thread_handle)
    {
        apply_priority(static_cast<pid_t>(GetCurrentThreadId()), priority);
        if (t_state)
            t_state->priority = priority;
        return TRUE;
    }
    const Pin<ThreadObject> object(thread);
    if (!object)
        return FALSE;
    object->state().priority = priority;
    if (object->state().ended == 0)
        apply_priority(static_cast<pid_t>(object->state().id.load()), priority);
    return TRUE;
}

extern "C" int GetThreadPriority(HANDLE thread)
{
    if (thread == current_thread_handle)
        return t_state ? t_state->priority.load() : THREAD_PRIORITY_NORMAL;
    const Pin<ThreadObject> object(thread);
    return object ? object->state().priority.load() : THREAD_PRIORITY_ERROR_RETURN;
}
