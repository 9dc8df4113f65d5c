// SIGINT, SIGTERM and SIGHUP end the main loop (interruption.h), so that the destructor restores
// the terminal. Other signals that end the program, and a forced end, restore the terminal in a
// handler, which writes a text that was prepared at the start, since a handler must not call the
// library. Ctrl-Z only sets a flag for the main loop.
#include "full_screen/terminal_session.h"

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <langinfo.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "failure.h"
#include "full_screen/curses.h"
#include "interruption.h"
#include "terminal_signals_linux.h"
#include "text.h"

#include <term.h>

namespace trace::full_screen
{

namespace
{

constexpr int escape_delay = 25; // ms after which the escape key is not the start of a sequence
constexpr mmask_t mouse_events = BUTTON1_PRESSED | BUTTON4_PRESSED | BUTTON5_PRESSED;

// Variables that the handlers read are written before the handlers are set.
termios g_found;
char g_leave[512];
size_t g_leave_size = 0;
volatile std::sig_atomic_t g_is_shown = 0; // the terminal shows the full screen
volatile std::sig_atomic_t g_stop_wanted = 0;
volatile std::sig_atomic_t g_has_continued = 0;

// Async-signal-safe. Output that the terminal doesn't take, as after Ctrl-S, is discarded: it would
// delay the rest.
void restore_now()
{
    if (!g_is_shown || !in_foreground())
        return;
    tcflow(STDOUT_FILENO, TCOON);
    tcflush(STDOUT_FILENO, TCOFLUSH);
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    if (poll(&output, 1, 0) == 1 && (output.revents & POLLOUT) != 0) [[maybe_unused]]
        const ssize_t done = write(STDOUT_FILENO, g_leave, g_leave_size);
    tcsetattr(STDIN_FILENO, TCSANOW, &g_found);
}

extern "C" void plinth_trace_screen_on_ending(int signal)
{
    restore_now();
    raise_default(signal);
}

extern "C" void plinth_trace_screen_on_stop(int)
{
    g_stop_wanted = 1;
}

extern "C" void plinth_trace_screen_on_continue(int)
{
    g_has_continued = 1;
}

void append_leave(const char* sequence)
{
    // The capability is absent or unknown.
    if (!sequence || sequence == reinterpret_cast<const char*>(-1))
        return;
    // Padding, "$<5>", is only for very old terminals.
    const std::string_view text(sequence, std::strcspn(sequence, "$"));
    if (g_leave_size + text.size() > sizeof g_leave)
        return;
    std::copy(text.begin(), text.end(), g_leave + g_leave_size);
    g_leave_size += text.size();
}

const char* capability(const char* name)
{
    return tigetstr(const_cast<char*>(name)); // the library's prototype lacks const
}

void prepare_leave()
{
    g_leave_size = 0;
    const char* const mouse = capability("XM");
    if (mouse && mouse != reinterpret_cast<const char*>(-1))
        append_leave(tiparm(mouse, 0));
    for (const char* const name : {"rmkx", "sgr0", "op", "cnorm", "rmcup"})
        append_leave(capability(name));
}

void set_handlers(bool ours)
{
    if (ours)
        set_ending_handler(plinth_trace_screen_on_ending);
    else
        restore_ending_signals();
    set_handler(SIGTSTP, ours ? plinth_trace_screen_on_stop : SIG_DFL);
    set_handler(SIGCONT, ours ? plinth_trace_screen_on_continue : SIG_DFL);
    before_forced_end(ours ? restore_now : nullptr);
}

bool is_without_cursor()
{
    const char* const move = capability("cup");
    return !move || move == reinterpret_cast<const char*>(-1);
}

} // namespace

std::string TerminalSession::obstacle()
{
    const char* const kind = secure_getenv("TERM");
    if (!kind || !*kind)
        return "the environment variable TERM, which names the kind of terminal, is not set";
    int error = 0;
    if (setupterm(kind, STDOUT_FILENO, &error) != OK)
        return "the kind of terminal that TERM names, \"" + std::string(kind) + "\", is not known";
    const bool cant = is_without_cursor();
    del_curterm(cur_term);
    return cant ? "the kind of terminal that TERM names, \"" + std::string(kind) +
                      "\", has no cursor that can be moved"
                : "";
}

TerminalSession::TerminalSession()
{
    std::setlocale(LC_CTYPE, "");
    m_is_utf8 = std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
    tcgetattr(STDIN_FILENO, &g_found);
    set_handlers(true);
    set_escdelay(escape_delay);
    if (!newterm(nullptr, stdout, stdin))
    {
        set_handlers(false);
        throw Failure(exit_failed, "the terminal can't be used for a full screen; --plain does "
                                   "without");
    }
    prepare_leave();
    g_is_shown = 1;
    cbreak();
    noecho();
    nonl();
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    leaveok(stdscr, FALSE);
    curs_set(0);
    mouseinterval(0);
    set_mouse(true);
}

TerminalSession::~TerminalSession()
{
    if (!isendwin() && in_foreground())
    {
        endwin();
        tcsetattr(STDIN_FILENO, TCSANOW, &g_found);
    }
    g_is_shown = 0;
    set_handlers(false);
}

void TerminalSession::set_mouse(bool wanted)
{
    mousemask(wanted ? mouse_events : 0, nullptr);
    m_has_mouse = wanted;
}

bool TerminalSession::is_ours()
{
    if (g_stop_wanted)
        stop();
    if (g_has_continued || m_is_away)
    {
        g_has_continued = 0;
        m_is_away = !in_foreground();
        if (!m_is_away)
            resume();
    }
    return !m_is_away;
}

void TerminalSession::stop()
{
    g_stop_wanted = 0;
    if (!m_is_away)
        endwin();
    g_is_shown = 0;
    raise_default(SIGTSTP); // returns when the program continues
    set_handler(SIGTSTP, plinth_trace_screen_on_stop);
    m_is_away = true; // also set if the system ignores a stop, since it could not continue the
                      // program
}

// Also called after a stop that can't be caught. The shell has changed the terminal in the
// meantime.
void TerminalSession::resume()
{
    g_is_shown = 1;
    reset_prog_mode();
    clearok(curscr, TRUE);
    refresh();
    m_redraw = true;
}

bool TerminalSession::take_redraw()
{
    const bool redraw = m_redraw;
    m_redraw = false;
    return redraw;
}

bool TerminalSession::is_gone()
{
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, 0) == 1 && (input.revents & (POLLHUP | POLLERR)) != 0;
}

} // namespace trace::full_screen
