// Directories, searches, volumes, temporary files and storage folders.
#include "session.h"

namespace sweep
{

namespace
{

void search(Session& session)
{
    QvFindHandle handle = nullptr;
    QvFindData data = {};
    tm written = {};
    data.writeTime = &written;
    const int first = QV_FindFileFirst(session.path("tree/*"), &handle, &data);
    if (!session.ok("QV_FindFileFirst", first, {QV_ERR_FINDFIRST, QV_ERR_SYSTEM}) && !handle)
        return;
    int next = QV_OK;
    for (int i = 0; i < 10 && next != QV_ERR_FINDNEXT; ++i)
        next = QV_FindFileNext(handle, &data);
    session.holds("a search without an end", next == QV_ERR_FINDNEXT);
    session.ok("QV_FindFileClose", QV_FindFileClose(handle), {QV_ERR_FINDCLOSE});
}

void volumes(Session& session)
{
    uint64_t free_bytes = 0, total = 0;
    session.ok("QV_GetDiskSpaces",
               QV_GetDiskSpaces(session.path("tree"), &free_bytes, &total, nullptr),
               {QV_ERR_DISKSPACE});
    wchar_t drives[64] = L"";
    session.ok("QV_GetLogicalDriveStrings", QV_GetLogicalDriveStrings(drives, 64, nullptr),
               {QV_ERR_DRIVESTRINGS});
    wchar_t name[64] = L"";
    QvVolumeInfo info = {};
    info.name = name;
    info.nameSize = 64;
    session.ok("QV_GetVolumeInformation", QV_GetVolumeInformation(L"C:\\", &info),
               {QV_ERR_VOLUMEINFO});
}

void temporary_files(Session& session)
{
    wchar_t temp[300] = L"";
    session.ok("QV_GetTempPath", QV_GetTempPath(temp, 300), {QV_ERR_TEMPPATH});
    wchar_t name[300] = L"";
    session.ok("QV_GetTempFileName",
               QV_GetTempFileName(session.path("tree/"), L"t$$$$.tmp", 1, name, 300),
               {QV_ERR_TEMPPATH, QV_ERR_OPENFILE, QV_ERR_SYSTEM, QV_ERR_CLOSEFILE});
}

void current_directory(Session& session)
{
    wchar_t former[300] = L"";
    if (!session.ok("QV_GetCurrentDirectory", QV_GetCurrentDirectory(former, 300),
                    {QV_ERR_GETCURDIR}))
        return;
    session.ok("QV_SetCurrentDirectory", QV_SetCurrentDirectory(session.path("tree")),
               {QV_ERR_SETCURDIR});
    session.ok("QV_SetCurrentDirectory", QV_SetCurrentDirectory(former), {QV_ERR_SETCURDIR});
}

} // namespace

void directory_part(Session& session)
{
    session.ok("QV_CreateDirectory",
               QV_CreateDirectory(session.path("tree/inner/most"), 1, QV_SECURITY_DEFAULT),
               {QV_ERR_CREATEDIR});
    session.worked("QV_IsDirectoryWritable", QV_IsDirectoryWritable(session.path("tree/")));
    temporary_files(session);
    search(session);
    volumes(session);
    current_directory(session);
    wchar_t found[300] = L"";
    session.ok("QV_SearchPath", QV_SearchPath(session.path(""), L"tree", nullptr, found, 300),
               {QV_ERR_SEARCHPATH});
    wchar_t storage[300] = L"";
    session.ok("QV_GetStoragePath", QV_GetStoragePath(storage, 300, false),
               {QV_ERR_NULLPTR, QV_ERR_SYSTEM});
    session.ok("QV_RemoveDirectory", QV_RemoveDirectory(session.path("tree/inner/most")),
               {QV_ERR_REMOVEDIR});
    session.ok("QV_RemoveDirectoryRecursively", QV_RemoveDirectoryRecursively(session.path("tree")),
               {QV_ERR_REMOVEDIR});
}

} // namespace sweep
