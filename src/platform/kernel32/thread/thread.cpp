// Threads.
//
// A thread's state is shared by the thread and its handle, and lives as long as either; the futex
// word in it shows both whether the thread has ended. Threads are detached and never joined.
//
// TerminateThread must end a thread wherever it is, also in a loop that calls nothing. Cancelling
// would unwind its stack through code that may not be unwound, so it is sent a signal, whose
// handler marks the thread as ended and ends it by the bare system call. Locks and memory that the
// thread held stay held, as on the system.
#include "thread.h"

#include <algorithm>
#include <atomic>
#include <execinfo.h>
#include <memory>
#include <mutex>
#include <new>

#include "kernel32/module/loader_lock.h"
#include "kernel32/object/event_state.h"
#include "kernel32/object/handle_table.h"
#include "kernel32/object/waitable.h"
#include "kernel32/process/termination_signal.h"
#include "no_termination.h"
#include "system/calls.h"
#include "system/clock.h"
#include "system/exception_guard.h"
#include "system/fork.h"
#include "system/fork_count.h"
#include "system/last_error.h"
#include "thread_state.h"
#include "windows.h"

using namespace platform;

namespace
{

const HANDLE current_thread_handle = reinterpret_cast<HANDLE>(LONG_PTR{-2});

using StatePointer = std::shared_ptr<ThreadState>;

struct Launch
{
    StatePointer state;
    ThreadStart start;
    void* argument;
    int rounds = 0; // of the destruction of the thread's objects
};

// In the static block of thread data, so that a signal handler may read it.
__attribute__((tls_model("initial-exec"))) thread_local pid_t t_id = 0;

constinit std::atomic<void (*)(DWORD)> g_cleaner{nullptr};

// In a forked child the forking thread continues with another id, but the same state.
void go_on_in_child()
{
    t_id = 0;
    keep_own_loader_lock();
    if (!t_state)
        return;
    t_state->forks = fork_count();
    t_state->id = GetCurrentThreadId();
}

const AtFork g_at_fork(ForkStep::threads, {nullptr, nullptr, go_on_in_child});

class ThreadObject : public Object, public Waitable
{
public:
    static constexpr ObjectKind object_kind = ObjectKind::thread;

    explicit ThreadObject(StatePointer state) : Object(object_kind), m_state(std::move(state)) {}

    DWORD wait(DWORD milliseconds) override
    {
        const int64_t deadline = deadline_after(milliseconds);
        while (!m_state->has_ended())
            if (milliseconds == 0 || !futex_wait(&m_state->ended, 0, deadline, false))
                return m_state->has_ended() ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
        return WAIT_OBJECT_0;
    }
    ThreadState& state() const { return *m_state; }

    Waitable* waitable() override { return this; }
    bool unsignalled(WaitWord& word) override
    {
        word = {&m_state->ended, 0, false};
        return !m_state->has_ended();
    }
    bool try_take() override { return m_state->has_ended(); }
    bool reserve(uint32_t) override { return try_take(); }
    void keep(uint32_t) override {}
    void give_back(uint32_t) override {}

private:
    const StatePointer m_state;
};

// Signals the handle after the thread's other objects are gone: thread_local objects, and values of
// POSIX keys. The C library destroys these values in several rounds. This one waits for the last
// round but one, since ThreadSanitizer drops its state of the thread in the last. (A thread_local
// object is no alternative: making one takes the C library's own loader lock.)
class LastStep
{
public:
    LastStep() : m_usable(pthread_key_create(&m_key, run) == 0) {}
    // Then it owns what was launched.
    bool begin(Launch* launch) { return m_usable && pthread_setspecific(m_key, launch) == 0; }
    static void end(Launch* launch)
    {
        t_state = nullptr; // from here on a termination comes too late
        const StatePointer state = std::move(launch->state);
        delete launch; // before the handle is signalled: the process may end right after that
        state->end(state->result);
    }

private:
    static void run(void* launched);

    pthread_key_t m_key;
    bool m_usable;
};
LastStep g_last_step;

void LastStep::run(void* launched)
{
    auto* const launch = static_cast<Launch*>(launched);
    if (++launch->rounds == PTHREAD_DESTRUCTOR_ITERATIONS - 1 || !g_last_step.begin(launch))
        end(launch);
}

// The thread leaves its start routine, also by pthread_exit. As on the system it needs the loader's
// lock for its end, unless it terminates itself.
struct Leaving
{
    Launch* launch;
    const bool goes_on = g_last_step.begin(launch);
    ~Leaving()
    {
        if (!launch->state->terminates_itself)
            await_loader_lock();
        if (!goes_on)
            LastStep::end(launch);
    }
};

void* run_thread(void* argument)
{
    auto* const launch = static_cast<Launch*>(argument);
    ThreadState& state = *launch->state;
    // A creator that had all signals blocked has passed that on.
    allow_termination_signal();
    t_state = &state;
    const Leaving leaving{launch};
    state.id = GetCurrentThreadId();
    futex_wake(&state.id, INT32_MAX, false);
    await_loader_lock(); // on the system the modules are told of the thread, under that lock
    state.result = launch->start(launch->argument);
    return nullptr;
}

// The C library loads its unwinder at the first pthread_exit, or here. It must be loaded before a
// thread ends while another one is in the loader.
void load_unwinder()
{
    static constinit std::atomic<bool> loaded{false}; // doing it twice does no harm
    if (loaded.exchange(true))
        return;
    void* frame = nullptr;
    backtrace(&frame, 1);
}

// 0 or a system error.
DWORD launch_thread(ThreadStart start, void* argument, size_t stack_size, const StatePointer& state)
{
    // Doesn't throw: the caller still has to close a handle.
    std::unique_ptr<Launch> launch(new (std::nothrow) Launch{state, start, argument});
    if (!launch)
        return ERROR_NOT_ENOUGH_MEMORY;
    load_unwinder();
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    constexpr size_t least_stack = 1u << 20; // the least that a thread of the system has
    if (stack_size != 0)
        pthread_attr_setstacksize(&attributes, std::max(stack_size, least_stack));
    const int error = sys::pthread_create(&thread, &attributes, run_thread, launch.get());
    pthread_attr_destroy(&attributes);
    if (error)
        return error == EAGAIN ? ERROR_NO_SYSTEM_RESOURCES : system_error(error);
    static_cast<void>(launch.release()); // the thread owns it now
    return 0;
}

bool is_priority(int priority)
{
    return priority == THREAD_PRIORITY_TIME_CRITICAL || priority == THREAD_PRIORITY_IDLE ||
           (priority >= THREAD_PRIORITY_LOWEST && priority <= THREAD_PRIORITY_HIGHEST);
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

// As far as the system allows: raising a priority takes a privilege, and a listener without it must
// still work.
void apply_priority(pid_t id, int priority)
{
    sched_param parameters = {};
    const bool critical = priority >= THREAD_PRIORITY_TIME_CRITICAL;
    parameters.sched_priority = critical ? 1 : 0;
    const int policy = critical ? SCHED_RR | SCHED_RESET_ON_FORK : SCHED_OTHER;
    if (sys::sched_setscheduler(id, policy, &parameters) == 0 && critical)
        return;
    sys::set_nice(id, nice_of(priority));
}

bool can_terminate()
{
    static constinit std::atomic<bool> installed{false}; // doing it twice does no harm
    if (!installed)
        installed = install_termination_handler(on_terminate);
    return installed;
}

// Ends the thread, and unpins what it held in a wait. A thread that blocks all signals ends when it
// unblocks them.
BOOL terminate(ThreadState& state, DWORD exit_code)
{
    constexpr DWORD long_enough = 1000; // ms; a signal takes microseconds
    if (!can_terminate())
        return fail_errno(errno);
    if (state.has_ended())
        return TRUE;
    state.terminated_with = exit_code;
    state.terminating = true;
    const int64_t deadline = deadline_after(long_enough);
    for (int64_t again = 0; state.ended == 0;)
    {
        const int64_t now = monotonic_ns();
        if (now >= deadline)
            return TRUE;
        if (now >= again)
        {
            if (!send_termination_signal(static_cast<pid_t>(state.id)) && errno != ESRCH)
                return fail_errno(errno);
            again = now + termination_resend;
        }
        futex_wait(&state.ended, 0, std::min(again, deadline), false);
    }
    if (const WaitingPin* const pin = state.waits_with.exchange(nullptr))
        pin->release(); // its stack stays, but no other code would unpin
    if (void (*const clean)(DWORD) = g_cleaner)
        clean(state.id);
    return TRUE;
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
        const auto state = std::make_shared<ThreadState>();
        const HANDLE handle = insert_handle(new ThreadObject(state));
        if (!handle)
            return nullptr;
        if (const DWORD error = launch_thread(start, argument, stack_size, state))
        {
            close_handle(handle);
            fail_with(error);
            return nullptr;
        }
        wait_until_running(*state);
        if (id)
            *id = state->id;
        return handle;
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, nullptr);
    }
}

void set_termination_cleaner(void (*procedure)(DWORD))
{
    g_cleaner = procedure;
}

WaitingPin::WaitingPin(PinBase* const* pins, size_t count) : m_pins(pins), m_count(count)
{
    if (t_state)
        t_state->waits_with.store(this, std::memory_order_relaxed);
}

WaitingPin::~WaitingPin()
{
    if (t_state)
        t_state->waits_with.store(nullptr, std::memory_order_relaxed);
}

void WaitingPin::release() const
{
    for (size_t i = 0; i < m_count; ++i)
        m_pins[i]->release();
}

void end_thread(DWORD exit_code)
{
    if (t_state)
        t_state->result = exit_code;
    pthread_exit(nullptr);
}

} // namespace platform

extern "C" HANDLE CreateThread(LPSECURITY_ATTRIBUTES, SIZE_T stack_size,
                               LPTHREAD_START_ROUTINE start, LPVOID argument, DWORD, LPDWORD id)
{
    if (!start)
    {
        fail_with(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return start_thread(start, argument, stack_size, id);
}

extern "C" BOOL TerminateThread(HANDLE thread, DWORD exit_code)
{
    if (thread != current_thread_handle)
    {
        const Pin<ThreadObject> object(thread);
        if (!object)
            return FALSE;
        if (&object->state() != t_state)
            return terminate(object->state(), exit_code);
    }
    if (t_state)
        t_state->terminates_itself = true;
    end_thread(exit_code);
}

extern "C" BOOL GetExitCodeThread(HANDLE thread, LPDWORD exit_code)
{
    const Pin<ThreadObject> object(thread);
    if (!object)
        return FALSE;
    *exit_code = object->state().code();
    return TRUE;
}

extern "C" HANDLE GetCurrentThread(void)
{
    return current_thread_handle;
}

extern "C" DWORD GetCurrentThreadId(void)
{
    if (t_id == 0) [[unlikely]]
        t_id = static_cast<pid_t>(::syscall(SYS_gettid));
    return static_cast<DWORD>(t_id);
}

extern "C" BOOL SetThreadPriority(HANDLE thread, int priority)
{
    int error = 0;
    if (api_fault("SetThreadPriority", error))
        return fail_with(static_cast<DWORD>(error));
    if (!is_priority(priority))
        return fail_with(ERROR_INVALID_PARAMETER);
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
    if (!object->state().has_ended())
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
