// A signal ends a call that waits for a pipe at once, because its handler doesn't let the call
// start again. But a signal just before such a call would leave the call waiting, and some calls
// start again by themselves. Therefore the signal is repeated each second, and after some
// repetitions the program ends by its default action. The same happens when the time is over that
// the user allowed.
//
// Handlers only call async-signal-safe functions.
#include "interruption.h"

#include <algorithm>
#include <cerrno>
#include <csignal>

#include <sys/time.h>
#include <unistd.h>

#include "failure.h"

namespace trace
{

namespace
{

constexpr unsigned interval = 1; // s
constexpr int most_ticks = 5;    // without progress

volatile std::sig_atomic_t g_interrupted = 0;
volatile std::sig_atomic_t g_is_over = 0; // the time that the user allowed
volatile std::sig_atomic_t g_ticks = 0;
void (*volatile g_restore)() = nullptr;

extern "C" void plinth_viewing_on_interrupt(int)
{
    g_interrupted = 1;
    alarm(interval);
}

// The timer's first signal, if nothing has interrupted the program, is that the time is over.
extern "C" void plinth_viewing_on_tick(int)
{
    if (!g_interrupted && !g_is_over)
        g_is_over = 1;
    else
        g_ticks = g_ticks + 1;
    if (g_ticks < most_ticks)
    {
        alarm(interval);
        return;
    }
    const int error = errno;
    if (g_restore)
        g_restore();
    std::signal(SIGTERM, SIG_DFL);
    raise(SIGTERM);
    errno = error;
}

void set_handler(int signal, void (*handler)(int))
{
    struct sigaction action
    {
    };
    action.sa_handler = handler; // without SA_RESTART
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

} // namespace

void catch_interruption()
{
    set_handler(SIGALRM, plinth_viewing_on_tick);
    for (const int signal : {SIGINT, SIGTERM})
        set_handler(signal, plinth_viewing_on_interrupt);
    // The terminal was closed. A program that is to survive this was started with the signal
    // ignored.
    struct sigaction found;
    if (sigaction(SIGHUP, nullptr, &found) == 0 && found.sa_handler != SIG_IGN)
        set_handler(SIGHUP, plinth_viewing_on_interrupt);
    // The parent process may have blocked them.
    sigset_t needed;
    sigemptyset(&needed);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGALRM})
        sigaddset(&needed, signal);
    sigprocmask(SIG_UNBLOCK, &needed, nullptr);
}

bool interrupted()
{
    return g_interrupted != 0;
}

void end_waits_at(std::chrono::steady_clock::time_point time)
{
    using std::chrono::microseconds;
    constexpr microseconds least{1}; // 0 would stop the timer
    constexpr microseconds most = std::chrono::hours(24 * 365);
    const auto left = std::chrono::ceil<microseconds>(time - std::chrono::steady_clock::now());
    const microseconds wait = std::clamp(left, least, most);
    itimerval timer{};
    timer.it_value.tv_sec = static_cast<time_t>(wait / std::chrono::seconds(1));
    timer.it_value.tv_usec = static_cast<suseconds_t>((wait % std::chrono::seconds(1)).count());
    setitimer(ITIMER_REAL, &timer, nullptr);
}

bool time_is_over()
{
    return g_is_over != 0;
}

void made_progress()
{
    g_ticks = 0;
}

void before_forced_end(void (*restore)())
{
    g_restore = restore;
}

void end_if_interrupted()
{
    if (interrupted())
        throw Interrupted();
}

} // namespace trace
