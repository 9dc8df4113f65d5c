// Which displays answer. The user interface library ends the process if it has no display, so they
// are tried before it is loaded.
#include <cstring>
#include <string>

#include <sys/un.h>

#include "desktop.h"
#include "system/calls.h"
#include "system/environment.h"

namespace platform
{

namespace
{

bool is_set(const char* variable)
{
    const char* const value = environment(variable);
    return value && *value;
}

// Uses the protocol's own client library, which knows the forms of a display's name and how to
// authenticate. It is installed wherever the user interface library is, and stays loaded; the few
// functions used here need no header.
bool x11_answers()
{
    struct Connection;
    using Connect = Connection*(const char* display, int* screen);
    using HasError = int(Connection*);
    using Disconnect = void(Connection*);

    if (!is_set("DISPLAY"))
        return false;
    void* const library = sys::dlopen("libxcb.so.1", RTLD_NOW | RTLD_LOCAL);
    if (!library)
        return false;
    const auto connect = reinterpret_cast<Connect*>(sys::dlsym(library, "xcb_connect"));
    const auto error = reinterpret_cast<HasError*>(sys::dlsym(library, "xcb_connection_has_error"));
    const auto disconnect = reinterpret_cast<Disconnect*>(sys::dlsym(library, "xcb_disconnect"));
    if (!connect || !error || !disconnect)
        return false;
    Connection* const connection = connect(nullptr, nullptr); // never null
    const bool answers = error(connection) == 0;
    disconnect(connection);
    return answers;
}

// Only a display that the environment names: the user's other displays are not meant.
bool wayland_answers()
{
    if (!is_set("WAYLAND_DISPLAY"))
        return false;
    std::string path = environment("WAYLAND_DISPLAY");
    if (path[0] != '/')
    {
        if (!is_set("XDG_RUNTIME_DIR"))
            return false;
        path = std::string(environment("XDG_RUNTIME_DIR")) + "/" + path;
    }
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return false;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int fd = sys::socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0)
        return false;
    const bool answers =
        sys::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    sys::close(fd);
    return answers;
}

} // namespace

unsigned reachable_displays()
{
    return (x11_answers() ? PLINTH_DISPLAY_X11 : 0) |
           (wayland_answers() ? PLINTH_DISPLAY_WAYLAND : 0);
}

} // namespace platform
