// Logs a line and prints the native path of its log. What it has for resources: CMakeLists.txt.
#include <cstdio>

#include <plinth_platform.h>
#include <plinth_w32_system.h>

int main()
{
    if (QV_Log(L"a line\r\n") != QV_OK)
        return 1;
    char path[4096];
    if (!PlinthNativePath(CQvLogFile::GetLogFilename(), path, sizeof path))
        return 2;
    std::fputs(path, stdout);
    return 0;
}
