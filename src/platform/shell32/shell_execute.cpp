// Opening a document or a folder with the desktop's program.
//
// Callers name the system's own viewers ("explorer", "notepad") and pass the document as the
// parameter; here the desktop chooses the viewer. PLINTH_SHELL_OPEN names another opener than
// xdg-open.
#include <string>

#include <unistd.h>

#include <windows.h>

#include "kernel32/file/native_path.h"
#include "system/calls.h"
#include "system/environment.h"
#include "system/exception_guard.h"
#include "system/last_error.h"

using namespace platform;

namespace
{

constexpr INT_PTR success = 33; // any number above 32
constexpr INT_PTR no_association = 31;

bool has_display()
{
    return environment("DISPLAY") || environment("WAYLAND_DISPLAY");
}

// Runs in the child, where only the simplest calls are safe. If the program can't be started,
// writes the error to the pipe; if it can, the pipe is closed without data.
[[noreturn]] void become(const char* program, const char* document, int pipe)
{
    const pid_t opener = ::fork();
    if (opener > 0)
        _exit(0);
    if (opener == 0)
    {
        setsid();
        const int null = ::open("/dev/null", O_RDWR);
        for (int fd = 0; fd < 3; ++fd)
            dup2(null, fd);
        execlp(program, program, document, static_cast<char*>(nullptr));
    }
    const int error = errno;
    [[maybe_unused]] const ssize_t said = ::write(pipe, &error, sizeof error);
    _exit(127);
}

// The opener outlives this process and has no parent here: the process in between ends at once. 0
// or an errno.
int run_detached(const char* program, const char* document)
{
    int pipe[2];
    if (sys::pipe(pipe) != 0)
        return errno;
    const pid_t between = sys::fork();
    if (between == 0)
        become(program, document, pipe[1]);
    int error = between < 0 ? errno : 0;
    sys::close(pipe[1]);
    if (between > 0)
    {
        int status = 0;
        sys::waitpid(between, &status);
        if (sys::read(pipe[0], &error, sizeof error) != sizeof error)
            error = 0;
    }
    sys::close(pipe[0]);
    return error;
}

} // namespace

extern "C" HINSTANCE ShellExecuteW(HWND, LPCWSTR, LPCWSTR file, LPCWSTR parameters, LPCWSTR, INT)
try
{
    const NativePath document(parameters && *parameters ? parameters : file);
    struct stat found;
    if (!document.ok() || sys::stat(document.c_str(), &found) != 0)
    {
        fail_with(ERROR_FILE_NOT_FOUND);
        return reinterpret_cast<HINSTANCE>(INT_PTR{ERROR_FILE_NOT_FOUND});
    }
    const char* const wish = environment("PLINTH_SHELL_OPEN");
    if (!wish && !has_display())
    {
        fail_with(ERROR_NOT_SUPPORTED);
        return reinterpret_cast<HINSTANCE>(no_association);
    }
    // A name that begins with a dash must not be taken for an option of the opener.
    std::string shown = document.c_str();
    if (shown.front() == '-')
        shown.insert(0, "./");
    if (const int error = run_detached(wish && *wish ? wish : "xdg-open", shown.c_str()))
    {
        fail_errno(error);
        return reinterpret_cast<HINSTANCE>(error == ENOENT ? no_association
                                                           : INT_PTR{ERROR_NOT_ENOUGH_MEMORY});
    }
    return reinterpret_cast<HINSTANCE>(success);
}
catch (const std::exception& exception)
{
    return failed_by(exception, reinterpret_cast<HINSTANCE>(INT_PTR{ERROR_NOT_ENOUGH_MEMORY}));
}
