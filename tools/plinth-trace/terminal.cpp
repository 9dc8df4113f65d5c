#include "terminal.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <windows.h>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#else
#include <sys/ioctl.h>
#include <unistd.h>
#endif

#include "failure.h"

namespace trace
{

namespace
{

volatile std::sig_atomic_t gs_interrupted = 0;
bool gs_colour = false;

extern "C" void on_interrupt(int)
{
    gs_interrupted = 1;
}

bool set(const char* name)
{
    const char* const value = std::getenv(name);
    return value && *value;
}

#ifdef _WIN32

bool prepare_output()
{
    SetConsoleOutputCP(CP_UTF8);
    _setmode(_fileno(stdout), _O_BINARY); // texts bring their own line ends
    const HANDLE console = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    return GetConsoleMode(console, &mode) &&
           SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

// The runtime has no error of its own for a pipe without a reader.
bool reader_is_gone(int error)
{
    return error == EPIPE || error == EINVAL;
}

unsigned columns()
{
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info))
        return 0;
    return static_cast<unsigned>(info.srWindow.Right - info.srWindow.Left + 1);
}

#else

unsigned columns()
{
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

bool prepare_output()
{
    std::signal(SIGPIPE, SIG_IGN);     // a write then fails, and put tells what that means
    std::signal(SIGHUP, on_interrupt); // the terminal is gone
    const char* const kind = std::getenv("TERM");
    return isatty(STDOUT_FILENO) && !(kind && std::strcmp(kind, "dumb") == 0);
}

bool reader_is_gone(int error)
{
    return error == EPIPE;
}

#endif

} // namespace

void prepare_terminal()
{
    gs_colour = prepare_output() && !set("NO_COLOR");
    std::signal(SIGINT, on_interrupt);
    std::signal(SIGTERM, on_interrupt);
}

bool interrupted()
{
    return gs_interrupted != 0;
}

bool in_colour()
{
    return gs_colour;
}

size_t terminal_width()
{
    constexpr unsigned usual = 80;
    const unsigned known = columns();
    return known > 0 ? known : usual;
}

void put(std::string_view text)
{
    errno = 0;
    if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0)
        return;
    const int error = errno;
    if (reader_is_gone(error))
        throw OutputClosed();
    throw Failure(exit_failed,
                  std::string("standard output can't be written: ") + std::strerror(error));
}

void note(std::string_view text)
{
    std::fprintf(stderr, "plinth-trace: %.*s\n", static_cast<int>(text.size()), text.data());
}

} // namespace trace
