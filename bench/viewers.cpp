#include "viewers.h"

#include <chrono>
#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <plinth_w32_system.h>

extern char** environ;

namespace bench
{

namespace
{

constexpr auto patience = std::chrono::seconds(60);

// What a program is started with: its standard streams, and whether it begins a session.
class Start
{
public:
    Start()
    {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawnattr_init(&m_attributes);
    }
    ~Start()
    {
        posix_spawn_file_actions_destroy(&m_actions);
        posix_spawnattr_destroy(&m_attributes);
    }
    Start(const Start&) = delete;
    Start& operator=(const Start&) = delete;

    void open(int stream, const char* path)
    {
        posix_spawn_file_actions_addopen(&m_actions, stream, path, O_RDWR, 0);
    }
    void copy(int from, int stream) { posix_spawn_file_actions_adddup2(&m_actions, from, stream); }
    // The terminal that it opens first becomes its own.
    void begin_session() { posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSID); }

    pid_t run(std::vector<std::string> words) const
    {
        std::vector<char*> arguments;
        for (std::string& word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        pid_t pid = -1;
        return posix_spawnp(&pid, arguments[0], &m_actions, &m_attributes, arguments.data(),
                            environ) == 0
                   ? pid
                   : -1;
    }

private:
    posix_spawn_file_actions_t m_actions;
    posix_spawnattr_t m_attributes;
};

void end(pid_t pid)
{
    if (pid <= 0)
        return;
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

// The first line; without its end if there is none.
std::string line_of(int file)
{
    std::string line;
    char byte = 0;
    while (byte != '\n' && read(file, &byte, 1) == 1)
        line += byte;
    return line;
}

// 1000001 as "1,000,001".
std::string grouped(uint64_t number)
{
    std::string text = std::to_string(number);
    constexpr size_t group = 3;
    for (size_t at = text.size(); at > group;)
        text.insert(at -= group, ",");
    return text;
}

} // namespace

CountingViewer::CountingViewer(std::vector<std::string> words)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return;
    Start start;
    start.open(STDOUT_FILENO, "/dev/null");
    start.copy(ends[1], STDERR_FILENO);
    m_pid = start.run(std::move(words));
    close(ends[1]);
    m_messages = ends[0];
    m_ready = m_pid > 0 && line_of(m_messages).ends_with('\n');
}

CountingViewer::~CountingViewer()
{
    close(m_messages);
    end(m_pid);
}

bool CountingViewer::had_all()
{
    int status = 0;
    const bool is_over = m_pid > 0 && waitpid(m_pid, &status, 0) == m_pid;
    m_pid = -1;
    return is_over && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

ScreenViewer::ScreenViewer(std::vector<std::string> words)
    : m_terminal(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
{
    constexpr winsize size{.ws_row = 50, .ws_col = 160, .ws_xpixel = 0, .ws_ypixel = 0};
    if (m_terminal < 0 || grantpt(m_terminal) != 0 || unlockpt(m_terminal) != 0 ||
        ioctl(m_terminal, TIOCSWINSZ, &size) != 0)
        return;
    setenv("TERM", "xterm-256color", 1);
    Start start;
    start.begin_session();
    start.open(STDIN_FILENO, ptsname(m_terminal));
    start.copy(STDIN_FILENO, STDOUT_FILENO);
    start.copy(STDIN_FILENO, STDERR_FILENO);
    m_pid = start.run(std::move(words));
    m_reader = std::thread([this] { read_all(); });
    m_ready = m_pid > 0 && shows("row 0 of 0");
}

ScreenViewer::~ScreenViewer()
{
    end(m_pid); // which ends the terminal, and the thread
    if (m_reader.joinable())
        m_reader.join();
    close(m_terminal);
}

void ScreenViewer::read_all()
{
    char bytes[1 << 16];
    ssize_t count;
    while ((count = read(m_terminal, bytes, sizeof bytes)) > 0)
    {
        const std::lock_guard lock(m_lock);
        m_read.append(bytes, static_cast<size_t>(count));
        m_arrived.notify_one();
    }
    const std::lock_guard lock(m_lock);
    m_is_over = true;
    m_arrived.notify_one();
}

// Waits until the text has been written since the last call of forget.
bool ScreenViewer::shows(const std::string& text)
{
    std::unique_lock lock(m_lock);
    return m_arrived.wait_for(lock, patience,
                              [&]
                              { return m_is_over || m_read.find(text) != std::string::npos; }) &&
           !m_is_over;
}

void ScreenViewer::forget()
{
    const std::lock_guard lock(m_lock);
    m_read.clear();
}

bool ScreenViewer::had_last()
{
    forget();
    // No character is twice in a row, or in another text at the same place: a screen is sent only
    // what has changed.
    OutputDebugStringA("~Q|Z~X|Q~Z|X");
    return shows("~Q|Z~X|Q~Z|X");
}

bool ScreenViewer::had_all(uint64_t records)
{
    forget();
    constexpr char redraw = 'L' & 0x1F;
    return write(m_terminal, &redraw, 1) == 1 && shows("all " + grouped(records) + "; ") &&
           m_read.find("; lost") == std::string::npos;
}

Display::Display()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return;
    Start start;
    start.copy(ends[1], STDOUT_FILENO);
    start.open(STDERR_FILENO, "/dev/null");
    m_pid = start.run({"setpriv", "--pdeathsig", "TERM", "Xvfb", "-displayfd", "1", "-screen", "0",
                       "1280x1024x24", "-nolisten", "tcp", "-noreset"});
    close(ends[1]);
    const std::string number = line_of(ends[0]);
    close(ends[0]);
    m_ready = number.ends_with('\n');
    if (!m_ready)
        return;
    for (const char* const name : {"WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "XAUTHORITY"})
        unsetenv(name);
    setenv("DISPLAY", (":" + number.substr(0, number.size() - 1)).c_str(), 1);
}

Display::~Display()
{
    end(m_pid);
}

} // namespace bench
