#include "terminal_signals_linux.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace trace
{

namespace
{

// By default these don't end a program, or no program can catch them. All others end it.
constexpr int not_ending[] = {SIGKILL, SIGSTOP, SIGTSTP, SIGTTIN, SIGTTOU,
                              SIGCHLD, SIGCONT, SIGURG,  SIGWINCH};
constexpr int crashes[] = {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL};

struct Former
{
    int signal;
    struct sigaction action;
};

void (*g_handler)(int) = nullptr;
std::vector<Former>& formers()
{
    static std::vector<Former> actions;
    return actions;
}

template <size_t size> bool has(const int (&signals)[size], int signal)
{
    return std::find(std::begin(signals), std::end(signals), signal) != std::end(signals);
}

} // namespace

void set_ending_handler(void (*handler)(int))
{
    g_handler = handler;
    for (int signal = 1; signal <= SIGRTMAX; ++signal)
    {
        struct sigaction action;
        // The C library refuses the real-time signals that it uses itself.
        if (has(not_ending, signal) || sigaction(signal, nullptr, &action) != 0)
            continue;
        const bool is_default = action.sa_handler == SIG_DFL;
        if (!is_default && (!has(crashes, signal) || action.sa_handler == SIG_IGN))
            continue;
        formers().push_back({signal, action});
        set_handler(signal, handler);
    }
}

void restore_ending_signals()
{
    for (const Former& former : formers())
    {
        struct sigaction now;
        if (sigaction(former.signal, nullptr, &now) == 0 && now.sa_handler == g_handler)
            sigaction(former.signal, &former.action, nullptr);
    }
    formers().clear();
}

} // namespace trace
