// Resources: data that a program carries in its own file, and settings for its log.
#include <cstdio>

#include <plinth_w32_system.h>

int main()
{
    CQvRscData data;
    QV_RCDATAToCQvRscDataByID(data, static_cast<__qv_hmodule*>(nullptr), 100, -1);
    QV_RCDATAToCQvRscDataByID(data, static_cast<__qv_hmodule*>(nullptr), 101, -1);
    for (int i = 0; i < data.GetCQvByteArrayW32Count(); ++i)
    {
        int id = 0;
        const CQvByteArrayW32& content = data.GetCQvByteArrayW32(i, &id);
        std::printf("%d: %u bytes\n", id, content.GetSize());
    }

    char path[1024];
    QV_Log(L"guide: resources\r\n");
    QV_WChar2Char(CQvLogFile::GetLogFilename(), -1, path, sizeof path);
    std::printf("%s\n", path);
    return data.GetCQvByteArrayW32Count() == 2 ? 0 : 1;
}
