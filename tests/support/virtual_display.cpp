#include "support/virtual_display.h"

#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/environment.h"

namespace test
{

namespace
{

// In the child: the server, which writes the number of its display to the descriptor.
[[noreturn]] void run_server(int number_to)
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const std::string number = std::to_string(number_to);
    const int nothing = open("/dev/null", O_WRONLY);
    dup2(nothing, STDOUT_FILENO);
    dup2(nothing, STDERR_FILENO);
    execlp("Xvfb", "Xvfb", "-displayfd", number.c_str(), "-screen", "0", "1280x1024x24",
           "-nolisten", "tcp", "-noreset", nullptr);
    _exit(99);
}

std::string read_line(int from)
{
    std::string line;
    for (char c = 0; read(from, &c, 1) == 1 && c != '\n';)
        line += c;
    return line;
}

} // namespace

VirtualDisplay::VirtualDisplay()
{
    int number[2];
    if (pipe(number) != 0)
    {
        ADD_FAILURE() << "no pipe";
        return;
    }
    const pid_t server = fork();
    if (server == 0)
    {
        close(number[0]);
        run_server(number[1]);
    }
    close(number[1]);
    const std::string line = read_line(number[0]);
    close(number[0]);
    if (line.empty())
    {
        ADD_FAILURE() << "Xvfb doesn't start; is it installed (Debian: xvfb)?";
        return;
    }
    m_name = ":" + line;
    setenv("DISPLAY", m_name.c_str(), 1);
    for (const char* const other :
         {"WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "XDG_SESSION_TYPE", "XAUTHORITY", "PLINTH_DESKTOP",
          "PLINTH_MESSAGEBOX", "DBUS_SESSION_BUS_ADDRESS", "SESSION_MANAGER"})
        unsetenv(other);
    const std::string runtime = make_folder("runtime");
    chmod(runtime.c_str(), 0700); // or its users complain
    setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
    setenv("NO_AT_BRIDGE", "1", 1); // no accessibility bus is started
}

} // namespace test
