// The terminal passes on each key at once and shows none, but still makes signals of Ctrl-C and
// Ctrl-Z.
//
// SIGINT, SIGTERM and SIGHUP end the main loop (interruption.h), so that the destructor restores
// the terminal. Other signals that end or stop a program are caught here: the handler restores the
// terminal and lets the signal do what it does by default. Handlers only call async-signal-safe
// functions.
#include "keyboard.h"

#include <cerrno>
#include <csignal>

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "interruption.h"
#include "terminal_signals_linux.h"

namespace trace
{

namespace
{

termios g_found; // written before the handlers that read it are set
termios g_ours;

// The terminal would stop a program that changes it from the background.
void set_terminal(const termios& mode)
{
    if (in_foreground())
        tcsetattr(STDIN_FILENO, TCSADRAIN, &mode);
}

extern "C" void plinth_trace_on_ending(int signal)
{
    set_terminal(g_found);
    raise_default(signal);
}

extern "C" void plinth_trace_on_stop(int signal)
{
    const int error = errno;
    set_terminal(g_found);
    raise_default(signal); // returns when the program continues
    set_handler(signal, plinth_trace_on_stop);
    set_terminal(g_ours); // also if the system ignores a stop, since it could not continue the
                          // program
    errno = error;
}

// Also called after a stop that can't be caught. The shell has changed the terminal in the
// meantime.
extern "C" void plinth_trace_on_continue(int)
{
    const int error = errno;
    set_terminal(g_ours);
    errno = error;
}

} // namespace

bool Keyboard::is_there()
{
    return isatty(STDIN_FILENO) && isatty(STDOUT_FILENO) && in_foreground();
}

Keyboard::Keyboard()
{
    tcgetattr(STDIN_FILENO, &g_found);
    g_ours = g_found;
    g_ours.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    g_ours.c_cc[VMIN] = 1;
    g_ours.c_cc[VTIME] = 0;
    set_ending_handler(plinth_trace_on_ending);
    set_handler(SIGTSTP, plinth_trace_on_stop);
    set_handler(SIGCONT, plinth_trace_on_continue);
    before_forced_end([] { set_terminal(g_found); });
    set_terminal(g_ours);
}

Keyboard::~Keyboard()
{
    before_forced_end(nullptr);
    set_handler(SIGCONT, SIG_DFL);
    set_terminal(g_found);
    restore_ending_signals();
    set_handler(SIGTSTP, SIG_DFL);
}

std::optional<char> Keyboard::key()
{
    pollfd input{STDIN_FILENO, POLLIN, 0};
    char key = 0;
    if (!in_foreground() || poll(&input, 1, 0) <= 0 || read(STDIN_FILENO, &key, 1) != 1)
        return std::nullopt;
    return key;
}

} // namespace trace
