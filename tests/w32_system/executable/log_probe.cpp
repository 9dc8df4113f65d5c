// Logs a line and prints the native path of its log. What it has for resources: CMakeLists.txt.
// With the name of a file it closes the log, prints a dot, and goes on when it can lock the file.
#include <cstdio>

#include <fcntl.h>
#include <sys/file.h>

#include <plinth_platform.h>
#include <plinth_w32_system.h>

int main(int count, char** arguments)
{
    if (count > 1)
    {
        CQvLogFile::CloseLog();
        std::fputc('.', stdout);
        std::fflush(stdout);
        ::flock(::open(arguments[1], O_RDONLY | O_CLOEXEC), LOCK_SH);
    }
    if (QV_Log(L"a line\r\n") != QV_OK)
        return 1;
    char path[4096];
    if (!PlinthNativePath(CQvLogFile::GetLogFilename(), path, sizeof path))
        return 2;
    std::fputs(path, stdout);
    return 0;
}
