// The log: a file in a folder that all programs of the machine share.
#include <cstdio>

#include <plinth_w32_system.h>

int main()
{
    if (QV_Log(L"guide: started\r\n") != QV_OK)
    {
        std::fputs("there is no log\n", stderr);
        return 1;
    }

    wchar_t line[128];
    QV_swprintf(line, L"guide: %d of %d done\r\n", 3, 4);
    QV_Log(line);

    char path[1024];
    QV_WChar2Char(CQvLogFile::GetLogFilename(), -1, path, sizeof path);
    std::printf("%s\n", path);
    return 0;
}
