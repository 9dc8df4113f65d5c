#include "support/virtual_display.h"

#include <csignal>
#include <cstdlib>
#include <vector>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/environment.h"
#include "support/needs.h"

namespace test
{

namespace
{

// In the child: the server, silent, which ends with the process that started it.
[[noreturn]] void run_server(std::vector<const char*> arguments)
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const int nothing = open("/dev/null", O_WRONLY);
    dup2(nothing, STDOUT_FILENO);
    dup2(nothing, STDERR_FILENO);
    arguments.push_back(nullptr);
    execvp(arguments[0], const_cast<char* const*>(arguments.data()));
    _exit(99);
}

// Nothing of the machine's own displays is left in the environment.
void forget_displays()
{
    for (const char* const each :
         {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "XDG_SESSION_TYPE", "XAUTHORITY",
          "PLINTH_DESKTOP", "PLINTH_MESSAGEBOX", "DBUS_SESSION_BUS_ADDRESS", "SESSION_MANAGER"})
        unsetenv(each);
    const std::string runtime = make_folder("runtime");
    chmod(runtime.c_str(), 0700); // or its users complain
    setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
    setenv("NO_AT_BRIDGE", "1", 1); // no accessibility bus is started
}

bool answers(const std::string& socket_path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socket_path.size() >= sizeof address.sun_path)
        return false;
    socket_path.copy(address.sun_path, socket_path.size());
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool connected =
        fd >= 0 && connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    if (fd >= 0)
        close(fd);
    return connected;
}

} // namespace

VirtualDisplay::VirtualDisplay()
{
    needs_program("Xvfb", "xvfb");
    int number[2];
    std::string line;
    if (pipe(number) == 0)
    {
        if (fork() == 0)
        {
            close(number[0]);
            const std::string to = std::to_string(number[1]);
            run_server({"Xvfb", "-displayfd", to.c_str(), "-screen", "0", "1280x1024x24",
                        "-nolisten", "tcp", "-noreset"});
        }
        close(number[1]);
        for (char c = 0; read(number[0], &c, 1) == 1 && c != '\n';)
            line += c;
        close(number[0]);
    }
    if (line.empty())
    {
        ADD_FAILURE() << "Xvfb doesn't start";
        return;
    }
    m_name = ":" + line;
    forget_displays();
    setenv("DISPLAY", m_name.c_str(), 1);
}

VirtualCompositor::VirtualCompositor()
{
    needs_program("weston", "weston");
    forget_displays();
    const std::string path = std::string(std::getenv("XDG_RUNTIME_DIR")) + "/wayland-test";
    const pid_t server = fork();
    if (server == 0)
        run_server({"weston", "--backend=headless-backend.so", "--socket=wayland-test",
                    "--idle-time=0", "--no-config"});
    setenv("WAYLAND_DISPLAY", "wayland-test", 1);
    // The socket has its name before it takes connections.
    while (!answers(path))
    {
        if (waitpid(server, nullptr, WNOHANG) != 0)
        {
            ADD_FAILURE() << "weston doesn't start";
            return;
        }
        usleep(2000);
    }
    m_runs = true;
}

} // namespace test
