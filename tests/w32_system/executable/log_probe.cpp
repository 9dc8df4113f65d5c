// Logs a line and prints the native path of its log. CMakeLists.txt adds its resources.
//
//     log_probe lock FILE     closes the log, prints a dot, and continues when it can lock the file
//     log_probe run COMMAND   runs the command, begins a new log, asserts with stack lines, and
//                             prints its own path too
#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/file.h>

#include <plinth_platform.h>
#include <plinth_w32_system.h>

namespace
{

void print_native(const wchar_t* path)
{
    char native[4096];
    if (!PlinthNativePath(path, native, sizeof native))
        std::exit(2);
    std::fputs(native, stdout);
}

bool run_and_assert(const char* command)
{
    if (std::system(command) != 0)
        return false;
    CQvLogFile::SetMaxLogMessageLength(-1);
    DiagAssertA(QV_DIAG_LOGFILE | QV_DIAG_STACKTRACE, "x", nullptr, "f", 1);
    wchar_t own[1024];
    if (QV_GetModuleFileName(nullptr, own, 1024) < 0)
        return false;
    print_native(own);
    std::fputs("\n", stdout);
    return true;
}

void lock(const char* file)
{
    std::fputc('.', stdout);
    std::fflush(stdout);
    ::flock(::open(file, O_RDONLY | O_CLOEXEC), LOCK_SH);
}

} // namespace

int main(int argc, char** argv)
{
    const std::string way = argc > 2 ? argv[1] : "";
    if (argc > 2)
        CQvLogFile::CloseLog();
    if (way == "lock")
        lock(argv[2]);
    if (way == "run" ? !run_and_assert(argv[2]) : QV_Log(L"a line\r\n") != QV_OK)
        return 1;
    print_native(CQvLogFile::GetLogFilename());
    return 0;
}
