#include "support/virtual_display.h"

#include <cstdio>
#include <cstdlib>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/environment.h"
#include "support/needs.h"

namespace test
{

namespace
{

// Starts a server that ends with this process, and returns its standard output, which stays open as
// long.
FILE* start_server(const std::string& command)
{
    needs_program("setpriv", "util-linux");
    return popen(("exec setpriv --pdeathsig TERM " + command + " 2>/dev/null").c_str(), "re");
}

// Removes the machine's own displays from the environment.
void forget_displays()
{
    for (const char* const each :
         {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "XDG_SESSION_TYPE", "XAUTHORITY",
          "PLINTH_DESKTOP", "PLINTH_MESSAGEBOX", "DBUS_SESSION_BUS_ADDRESS", "SESSION_MANAGER"})
        unsetenv(each);
    const std::string runtime = make_folder("runtime");
    chmod(runtime.c_str(), 0700); // programs warn of other rights
    setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
    setenv("NO_AT_BRIDGE", "1", 1); // prevents the start of an accessibility bus
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
    FILE* const server =
        start_server("Xvfb -displayfd 1 -screen 0 1280x1024x24 -nolisten tcp -noreset");
    int number = 0;
    m_runs = server && std::fscanf(server, "%d", &number) == 1;
    EXPECT_TRUE(m_runs) << "Xvfb doesn't start";
    forget_displays();
    setenv("DISPLAY", (":" + std::to_string(number)).c_str(), 1);
}

VirtualCompositor::VirtualCompositor()
{
    needs_program("weston", "weston");
    forget_displays();
    const std::string path = std::string(std::getenv("XDG_RUNTIME_DIR")) + "/wayland-test";
    start_server("weston --backend=headless-backend.so --socket=wayland-test --idle-time=0 "
                 "--no-config >/dev/null");
    setenv("WAYLAND_DISPLAY", "wayland-test", 1);
    // The socket exists before it takes connections.
    for (int i = 0; i < 10'000 && !m_runs; ++i, usleep(2000))
        m_runs = answers(path);
    EXPECT_TRUE(m_runs) << "weston doesn't start";
}

} // namespace test
