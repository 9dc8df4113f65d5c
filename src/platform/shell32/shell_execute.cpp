// Opening a document or a folder with the desktop's program.
//
// Callers name the system's own viewers ("explorer", "notepad"), whose document is the parameter;
// here the desktop decides what shows it. PLINTH_SHELL_OPEN names another opener than xdg-open.
#include <cstdlib>
#include <string>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <windows.h>

#include "kernel32/path.h"
#include "system/calls.h"
#include "system/last_error.h"

using namespace platform;

namespace
{

constexpr INT_PTR success = 33; // any number above 32
constexpr INT_PTR no_association = 31;

bool has_display()
{
    return std::getenv("DISPLAY") || std::getenv("WAYLAND_DISPLAY");
}

// The opener lives on after us and belongs to nobody: the process in between ends at once.
bool run_detached(const char* program, const char* document)
{
    const pid_t between = fork();
    if (between == 0)
    {
        if (fork() != 0)
            _exit(0);
        setsid();
        const int null = ::open("/dev/null", O_RDWR);
        for (int fd = 0; fd < 3; ++fd)
            dup2(null, fd);
        execlp(program, program, document, static_cast<char*>(nullptr));
        _exit(127);
    }
    if (between < 0)
        return false;
    int status = 0;
    while (waitpid(between, &status, 0) < 0 && errno == EINTR)
    {
    }
    return true;
}

} // namespace

extern "C" HINSTANCE ShellExecuteW(HWND, LPCWSTR, LPCWSTR file, LPCWSTR parameters, LPCWSTR, INT)
{
    const NativePath document(parameters && *parameters ? parameters : file);
    if (!document.ok())
        return reinterpret_cast<HINSTANCE>(INT_PTR{ERROR_FILE_NOT_FOUND});
    const char* const wish = std::getenv("PLINTH_SHELL_OPEN");
    if (!wish && !has_display())
    {
        fail_with(ERROR_NOT_SUPPORTED);
        return reinterpret_cast<HINSTANCE>(no_association);
    }
    if (!run_detached(wish && *wish ? wish : "xdg-open", document.c_str()))
    {
        fail_errno(errno);
        return reinterpret_cast<HINSTANCE>(INT_PTR{ERROR_NOT_ENOUGH_MEMORY});
    }
    return reinterpret_cast<HINSTANCE>(success);
}
