// Directory searches.
#include <windows.h>

#include "argument_check.h"
#include "file_internal.h"

namespace
{

constexpr const char* source_name = "src\\w32_system\\file\\file";

// QV_ERR_SYSTEM if a requested time does not convert; fields filled before that stay.
int Fill(const WIN32_FIND_DATAW& entry, QvFindData* data)
{
    if (!data)
        return QV_OK;
    static_assert(sizeof data->name == sizeof entry.cFileName);
    for (size_t i = 0; i < MAX_PATH; ++i)
    {
        data->name[i] = entry.cFileName[i];
        if (!entry.cFileName[i])
            break;
    }
    data->size = QvJoin(entry.nFileSizeHigh, entry.nFileSizeLow);
    data->isDirectory = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;

    const struct
    {
        const FILETIME& time;
        struct tm* wanted;
    } times[] = {{entry.ftCreationTime, data->creationTime},
                 {entry.ftLastAccessTime, data->accessTime},
                 {entry.ftLastWriteTime, data->writeTime}};
    for (const auto& each : times)
        if (each.wanted && !QvFileTimeToTm(each.time, each.wanted))
            return QV_ERR_SYSTEM;
    return QV_OK;
}

} // namespace

extern "C" int QV_FindFileFirst(const wchar_t* pattern, QvFindHandle* handle, QvFindData* data)
{
    if (!handle)
        return QvRefuse(QV_ERR_NULLPTR, L"handle==NULL",
                        L"QV_FindFileFirst: No place for the handle.", source_name, __LINE__);
    WIN32_FIND_DATAW entry;
    const HANDLE search = FindFirstFileW(pattern, &entry);
    if (search == INVALID_HANDLE_VALUE)
        return QV_ERR_FINDFIRST;
    *handle = search;
    return Fill(entry, data);
}

extern "C" int QV_FindFileNext(QvFindHandle handle, QvFindData* data)
{
    WIN32_FIND_DATAW entry;
    return FindNextFileW(handle, &entry) ? Fill(entry, data) : QV_ERR_FINDNEXT;
}

extern "C" int QV_FindFileClose(QvFindHandle handle)
{
    return FindClose(handle) ? QV_OK : QV_ERR_FINDCLOSE;
}
