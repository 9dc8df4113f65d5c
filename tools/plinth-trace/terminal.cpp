#include "terminal.h"

#include <algorithm>
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

#include "descriptor_write_linux.h"
#endif

#include "failure.h"
#include "text.h"

namespace trace
{

namespace
{

bool g_colour = false;

[[noreturn]] void fail(int error)
{
    throw Failure(exit_failed,
                  std::string("standard output can't be written: ") + std::strerror(error));
}

#ifdef _WIN32

const char* environment(const char* name)
{
    return std::getenv(name);
}

bool prepare_output()
{
    SetConsoleOutputCP(CP_UTF8);
    _setmode(_fileno(stdout), _O_BINARY); // texts contain their own line ends
    const HANDLE console = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    return GetConsoleMode(console, &mode) &&
           SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

bool is_output_terminal()
{
    return _isatty(_fileno(stdout)) != 0;
}

void write_all(std::string_view bytes)
{
    errno = 0;
    if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size() &&
        std::fflush(stdout) == 0)
        return;
    // The runtime has no error of its own for a pipe without a reader.
    if (errno == EPIPE || errno == EINVAL)
        throw OutputClosed();
    fail(errno);
}

unsigned columns()
{
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info))
        return 0;
    return static_cast<unsigned>(info.srWindow.Right - info.srWindow.Left + 1);
}

#else

// A program with more rights than its caller must not use the caller's environment.
const char* environment(const char* name)
{
    return secure_getenv(name);
}

unsigned columns()
{
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

bool prepare_output()
{
    std::signal(SIGPIPE, SIG_IGN); // a write then fails, and put reports it
    const char* const kind = environment("TERM");
    return isatty(STDOUT_FILENO) && !(kind && std::strcmp(kind, "dumb") == 0);
}

bool is_output_terminal()
{
    return isatty(STDOUT_FILENO) != 0;
}

void write_all(std::string_view bytes)
{
    if (const int error = write_to_descriptor(STDOUT_FILENO, bytes))
        fail(error);
}

#endif

constexpr std::string_view colour_start = "\x1b[";

// The length of the colour sequence (ESC [ numbers m) at the text's start, 0 if there is none.
size_t colour_length(std::string_view text)
{
    if (!text.starts_with(colour_start))
        return 0;
    const size_t end = text.find_first_not_of("0123456789;", colour_start.size());
    return end != std::string_view::npos && text[end] == 'm' ? end + 1 : 0;
}

void append_harmless(std::string& out, std::string_view text)
{
    while (!text.empty())
    {
        const size_t coloured = g_colour ? colour_length(text) : 0;
        const size_t next =
            std::min(g_colour ? text.find(colour_start, 1) : text.npos, text.size());
        if (coloured)
            out += text.substr(0, coloured);
        else
            append_printable(out, text.substr(0, next));
        text.remove_prefix(coloured ? coloured : next);
    }
}

} // namespace

void prepare_terminal()
{
    const char* const no_colour = environment("NO_COLOR");
    g_colour = prepare_output() && !(no_colour && *no_colour);
    catch_interruption();
}

bool in_colour()
{
    return g_colour;
}

bool is_terminal()
{
    return is_output_terminal();
}

size_t terminal_width()
{
    constexpr unsigned usual = 80;
    const unsigned known = columns();
    return known > 0 ? known : usual;
}

void put(std::string_view text, Before before)
{
    constexpr const char* sequences[] = {"", "\r\x1b[K", "\x1b[2J\x1b[H"};
    std::string out = sequences[static_cast<size_t>(before)];
    append_harmless(out, text);
    write_all(out);
}

void put_bytes(std::string_view bytes)
{
    write_all(bytes);
}

} // namespace trace
