#include "window_launcher.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

#include <windows.h>

#include "failure.h"
#include "text.h"

namespace trace
{

namespace
{

// A program with more rights than its caller must not use the caller's environment.
bool is_set(const char* name)
{
    const char* const value = secure_getenv(name);
    return value && *value;
}

std::string path_of_viewer()
{
    wchar_t own[4096] = {};
    GetModuleFileNameW(nullptr, own, sizeof own / sizeof own[0]);
    std::string path = native_path(own);
    path.resize(path.rfind('/') + 1);
    return path + "plinth-trace-window";
}

} // namespace

void become_viewer(const std::vector<std::string>& arguments)
{
    // Qt's own choice of a platform counts too: some platforms need no display.
    if (!is_set("DISPLAY") && !is_set("WAYLAND_DISPLAY") && !is_set("QT_QPA_PLATFORM"))
        throw Failure(exit_no_window, "there is no display to show a window on (DISPLAY and "
                                      "WAYLAND_DISPLAY are not set); plinth-trace watch shows "
                                      "records in a terminal");
    const std::string path = path_of_viewer();
    std::vector<char*> argv{const_cast<char*>(path.c_str())};
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    execv(path.c_str(), argv.data());
    throw Failure(exit_no_window, "the viewer " + path +
                                      " can't be started: " + std::strerror(errno) +
                                      "; it comes with the package plinth-desktop, "
                                      "and is built where Qt 6 is");
}

} // namespace trace
