// Logs a line and prints the native path of its log. With an argument it first runs that as a
// command, begins a new log, asserts with stack lines and prints its own path too. What it has for
// resources: CMakeLists.txt.
#include <cstdio>
#include <cstdlib>

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

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1)
    {
        CQvLogFile::CloseLog();
        if (std::system(argv[1]) != 0)
            return 3;
        CQvLogFile::SetMaxLogMessageLength(-1);
        DiagAssertA(QV_DIAG_LOGFILE | QV_DIAG_STACKTRACE, "x", nullptr, "f", 1);
        wchar_t own[1024];
        if (QV_GetModuleFileName(nullptr, own, 1024) < 0)
            return 4;
        print_native(own);
        std::fputs("\n", stdout);
    }
    else if (QV_Log(L"a line\r\n") != QV_OK)
        return 1;
    print_native(CQvLogFile::GetLogFilename());
    return 0;
}
