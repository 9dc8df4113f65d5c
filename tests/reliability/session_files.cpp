// Files: contents, times, locks, mapping, copying and moving.
#include <cstring>
#include <ctime>
#include <filesystem>

#include "session.h"

namespace sweep
{

namespace
{

constexpr unsigned share_all = QV_SHARE_READ | QV_SHARE_WRITE;
const std::string content = "what was written is read again";

void contents(Session& session, QvFile file)
{
    uint64_t done = 0;
    const bool written =
        session.ok("QV_WriteFile",
                   QV_WriteFile(file, content.data(), content.size(), &done, nullptr),
                   {QV_ERR_WRITEFILE, QV_ERR_DISKFULL}) &&
        session.worked("QV_WriteFile of all", done == content.size());
    uint64_t position = 0;
    if (session.ok("QV_FilePosition", QV_FilePosition(file, &position), {QV_ERR_FILEPOSITION}) &&
        written)
        session.holds("another position", position == content.size());
    if (!session.ok("QV_SeekFile", QV_SeekFile(file, 0, 0), {QV_ERR_SEEKFILE}))
        return;
    char read[100] = {};
    if (session.ok("QV_ReadFile", QV_ReadFile(file, read, sizeof read, &done, nullptr),
                   {QV_ERR_READFILE}) &&
        written)
        session.holds("read: " + std::string(read, done), std::string(read, done) == content);
    uint64_t size = 0;
    if (session.ok("QV_GetFileSize", QV_GetFileSize(file, &size), {QV_ERR_FILESIZE}) && written)
        session.holds("another size", size == content.size());
}

void times_and_locks(Session& session, QvFile file)
{
    tm wanted = {};
    wanted.tm_year = 120;
    wanted.tm_mon = 4;
    wanted.tm_mday = 6;
    wanted.tm_hour = 12;
    const bool set = session.ok("QV_TouchFile", QV_TouchFile(file, nullptr, &wanted, &wanted),
                                {QV_ERR_TOUCHFILE, QV_ERR_SYSTEM, QV_ERR_NULLPTR});
    tm creation = {}, access = {}, write = {};
    if (session.ok("QV_GetFileTimes", QV_GetFileTimes(file, &creation, &access, &write),
                   {QV_ERR_FILETIMES, QV_ERR_SYSTEM}) &&
        set)
        session.holds("another time", write.tm_year == 120 && write.tm_mon == 4);
    if (session.ok("QV_LockFile", QV_LockFile(file, 1, 5), {QV_ERR_LOCKFILE}))
        session.ok("QV_UnlockFile", QV_UnlockFile(file, 1, 5), {QV_ERR_UNLOCKFILE});
}

void mapping(Session& session, QvFile file)
{
    void* address = nullptr;
    if (!session.ok("QV_MapFile", QV_MapFile(file, QV_MAP_WRITE, 4, 12, &address),
                    {QV_ERR_SYSTEM, QV_ERR_FAILED}))
        return;
    std::memcpy(address, "mapped", 6);
    session.ok("QV_UnmapFile", QV_UnmapFile(address, 12), {QV_ERR_SYSTEM});
}

void whole_files(Session& session)
{
    session.ok(
        "QV_CopyFile",
        QV_CopyFile(session.path("file"), session.path("copy"), 0, nullptr, nullptr, nullptr),
        {QV_ERR_ACCESS, QV_ERR_COPYFILE, QV_ERR_FILEEXISTS});
    session.ok(
        "QV_MoveFile",
        QV_MoveFile(session.path("copy"), session.path("moved"), 0, nullptr, nullptr, nullptr),
        {QV_ERR_ACCESS, QV_ERR_SHARING, QV_ERR_MOVEFILE, QV_ERR_COPYFILE, QV_ERR_OPENFILE,
         QV_ERR_FILEEXISTS});
    session.ok("QV_ReplaceFile",
               QV_ReplaceFile(session.path("moved"), session.path("file"), session.path("backup"),
                              nullptr, nullptr, nullptr),
               {QV_ERR_ACCESS, QV_ERR_SHARING, QV_ERR_MOVEFILE, QV_ERR_COPYFILE, QV_ERR_OPENFILE,
                QV_ERR_FILEEXISTS});
    session.ok("QV_AccessFile", QV_AccessFile(session.path("file"), 2),
               {QV_ERR_ACCESS, QV_ERR_READONLY});
    session.ok("QV_SetAccessRights", QV_SetAccessRights(session.path("file"), 0) + 2,
               {QV_ERR_ACCESSRIGHTS + 2, QV_ERR_NOSYMBOL + 2}); // QV_ERR_BADARG is its success
    uint64_t size = 0;
    session.ok("QV_GetFileSizeFromName", QV_GetFileSizeFromName(session.path("file"), &size),
               {QV_ERR_OPENFILE, QV_ERR_FILESIZE, QV_ERR_SYSTEM});
    session.ok("QV_RemoveFile", QV_RemoveFile(session.path("backup"), 1),
               {QV_ERR_ACCESS, QV_ERR_REMOVEFILE});
}

} // namespace

void file_part(Session& session)
{
    QvFile file = nullptr;
    if (session.ok("QV_OpenFile",
                   QV_OpenFile(session.path("file"), QV_OPEN_READ | QV_OPEN_WRITE | QV_OPEN_ALWAYS,
                               share_all, QV_SECURITY_OWNER_ONLY, &file),
                   {QV_ERR_OPENFILE, QV_ERR_SYSTEM}))
    {
        contents(session, file);
        times_and_locks(session, file);
        mapping(session, file);
        if (session.ok("QV_SeekFile", QV_SeekFile(file, 5'000, 0), {QV_ERR_SEEKFILE}))
            session.ok("QV_SetEOF", QV_SetEOF(file), {QV_ERR_SETEOF});
        session.ok("QV_CloseFile", QV_CloseFile(file), {QV_ERR_CLOSEFILE});
    }
    whole_files(session);
}

} // namespace sweep
