// Files, asynchronous transfers, and directories with searches, volumes and temporary files.
#include <atomic>
#include <cstring>
#include <ctime>

#include "session.h"

namespace
{

constexpr unsigned share_all = QV_SHARE_READ | QV_SHARE_WRITE;
const std::string text = "what was written is read again";

void contents(Session& session, QvFile file)
{
    uint64_t done = 0, position = 0, size = 0;
    const bool written = CALL(QV_WriteFile(file, text.data(), text.size(), &done, nullptr),
                              QV_ERR_WRITEFILE, QV_ERR_DISKFULL) &&
                         session.worked("QV_WriteFile of all", done == text.size());
    CALL(QV_FilePosition(file, &position), QV_ERR_FILEPOSITION);
    if (!CALL(QV_SeekFile(file, 0, 0), QV_ERR_SEEKFILE))
        return;
    char read[100] = {};
    if (CALL(QV_ReadFile(file, read, sizeof read, &done, nullptr), QV_ERR_READFILE) && written)
        session.holds("read: " + std::string(read, done), std::string(read, done) == text);
    CALL(QV_GetFileSize(file, &size), QV_ERR_FILESIZE);
}

void times_and_locks(Session& session, QvFile file)
{
    tm wanted = {0, 0, 12, 6, 4, 120, 0, 0, 0, 0, nullptr};
    tm creation = {}, access = {}, write = {};
    CALL(QV_TouchFile(file, nullptr, &wanted, &wanted), QV_ERR_TOUCHFILE, QV_ERR_SYSTEM,
         QV_ERR_NULLPTR);
    CALL(QV_GetFileTimes(file, &creation, &access, &write), QV_ERR_FILETIMES, QV_ERR_SYSTEM);
    if (CALL(QV_LockFile(file, 1, 5), QV_ERR_LOCKFILE))
        CALL(QV_UnlockFile(file, 1, 5), QV_ERR_UNLOCKFILE);
}

void mapping(Session& session, QvFile file)
{
    void* address = nullptr;
    if (!CALL(QV_MapFile(file, QV_MAP_WRITE, 4, 12, &address), QV_ERR_SYSTEM, QV_ERR_FAILED))
        return;
    std::memcpy(address, "mapped", 6);
    CALL(QV_UnmapFile(address, 12), QV_ERR_SYSTEM);
}

void whole_files(Session& session)
{
    const test::Wide file = session.path("file"), copy = session.path("copy"),
                     moved = session.path("moved"), backup = session.path("backup");
    uint64_t size = 0;
    CALL(QV_CopyFile(file, copy, 0, nullptr, nullptr, nullptr), QV_ERR_ACCESS, QV_ERR_COPYFILE,
         QV_ERR_FILEEXISTS);
    CALL(QV_MoveFile(copy, moved, 0, nullptr, nullptr, nullptr), QV_ERR_ACCESS, QV_ERR_SHARING,
         QV_ERR_MOVEFILE, QV_ERR_COPYFILE, QV_ERR_OPENFILE, QV_ERR_FILEEXISTS);
    CALL(QV_ReplaceFile(moved, file, backup, nullptr, nullptr, nullptr), QV_ERR_ACCESS,
         QV_ERR_SHARING, QV_ERR_MOVEFILE, QV_ERR_COPYFILE, QV_ERR_OPENFILE, QV_ERR_FILEEXISTS);
    CALL(QV_AccessFile(file, 2), QV_ERR_ACCESS, QV_ERR_READONLY);
    CALL(QV_SetAccessRights(file, 0) + 2, QV_ERR_ACCESSRIGHTS + 2,
         QV_ERR_NOSYMBOL + 2); // QV_ERR_BADARG is its success
    CALL(QV_GetFileSizeFromName(file, &size), QV_ERR_OPENFILE, QV_ERR_FILESIZE, QV_ERR_SYSTEM);
    CALL(QV_RemoveFile(backup, 1), QV_ERR_ACCESS, QV_ERR_REMOVEFILE);
}

void search(Session& session)
{
    QvFindHandle handle = nullptr;
    QvFindData data = {};
    tm written = {};
    data.writeTime = &written;
    if (!CALL(QV_FindFileFirst(session.path("tree/*"), &handle, &data), QV_ERR_FINDFIRST,
              QV_ERR_SYSTEM) &&
        !handle)
        return;
    int next = QV_OK;
    for (int i = 0; i < 10 && next != QV_ERR_FINDNEXT; ++i)
        next = QV_FindFileNext(handle, &data);
    session.holds("a search without an end", next == QV_ERR_FINDNEXT);
    CALL(QV_FindFileClose(handle), QV_ERR_FINDCLOSE);
}

constexpr size_t size = 10'000; // three blocks

// What the callbacks of one transfer reported.
struct Outcome
{
    std::atomic<int> last{QV_ERR_INPROGRESS};
    std::atomic<uint64_t> done{0};
    static void moved(int status, uint64_t done, void* self)
    {
        static_cast<Outcome*>(self)->done = done;
        static_cast<Outcome*>(self)->last = status;
    }
    // These two failures of a copy are not its last report: others follow.
    static void copied(int status, uint64_t, uint64_t done, void* self)
    {
        if (status != QV_ERR_READFILE && status != QV_ERR_FILESIZE)
            moved(status, done, self);
    }
    bool succeeds(Session& session, const char* transfer, std::initializer_list<int> refusals) const
    {
        session.comes(std::string("the end of ") + transfer,
                      [this] { return last != QV_ERR_INPROGRESS; });
        return session.ok(transfer, last, refusals);
    }
};

// True if all was written and is in the file.
bool write_all(Session& session, QvFile file, const std::string& all)
{
    Outcome outcome;
    const QvAsyncIo async = {0, &outcome, Outcome::moved};
    return CALL(QV_WriteFile(file, all.data(), size, nullptr, &async), QV_ERR_SYSTEM) &&
           outcome.succeeds(session, "an asynchronous write",
                            {QV_ERR_WRITEFILE, QV_ERR_DISKFULL, QV_ERR_SEEKFILE}) &&
           session.holds("a part was written", outcome.done == size) &&
           session.holds("what was written is not there", content(session.native("moving")) == all);
}

void read_all(Session& session, QvFile file, const std::string& all)
{
    std::string into(size + 100, '\0');
    Outcome outcome;
    const QvAsyncIo async = {0, &outcome, Outcome::moved};
    if (CALL(QV_ReadFile(file, into.data(), into.size(), nullptr, &async), QV_ERR_SYSTEM) &&
        outcome.succeeds(session, "an asynchronous read", {QV_ERR_READFILE, QV_ERR_SEEKFILE}))
        session.holds("something else was read", into.substr(0, outcome.done) == all);
}

void copy_all(Session& session, const std::string& all)
{
    Outcome outcome;
    if (!CALL(QV_CopyFile(session.path("moving"), session.path("copied"), 0, nullptr,
                          Outcome::copied, &outcome),
              QV_ERR_OPENFILE, QV_ERR_SYSTEM))
        return;
    // A copy that could read nothing also ends with success.
    if (outcome.succeeds(session, "an asynchronous copy", {QV_ERR_WRITEFILE, QV_ERR_DISKFULL}) &&
        outcome.done == size)
        session.holds("the copy differs", content(session.native("copied")) == all);
    session.worked("copy of all", outcome.done == size);
}

} // namespace

void file_part(Session& session)
{
    QvFile file = nullptr;
    if (CALL(QV_OpenFile(session.path("file"), QV_OPEN_READ | QV_OPEN_WRITE | QV_OPEN_ALWAYS,
                         share_all, QV_SECURITY_OWNER_ONLY, &file),
             QV_ERR_OPENFILE, QV_ERR_SYSTEM))
    {
        contents(session, file);
        times_and_locks(session, file);
        mapping(session, file);
        if (CALL(QV_SeekFile(file, 5'000, 0), QV_ERR_SEEKFILE))
            CALL(QV_SetEOF(file), QV_ERR_SETEOF);
        CALL(QV_CloseFile(file), QV_ERR_CLOSEFILE);
    }
    whole_files(session);
}

void directory_part(Session& session)
{
    const test::Wide tree = session.path("tree"), most = session.path("tree/inner/most"),
                     inside = session.path("tree/");
    wchar_t buffer[300] = L"", drives[64] = L"", name[64] = L"";
    CALL(QV_CreateDirectory(most, 1, QV_SECURITY_DEFAULT), QV_ERR_CREATEDIR);
    session.worked("QV_IsDirectoryWritable", QV_IsDirectoryWritable(inside));
    CALL(QV_GetTempPath(buffer, 300), QV_ERR_TEMPPATH);
    CALL(QV_GetTempFileName(inside, L"t$$$$.tmp", 1, buffer, 300), QV_ERR_TEMPPATH, QV_ERR_OPENFILE,
         QV_ERR_SYSTEM, QV_ERR_CLOSEFILE);
    search(session);

    uint64_t free_bytes = 0, total = 0;
    CALL(QV_GetDiskSpaces(tree, &free_bytes, &total, nullptr), QV_ERR_DISKSPACE);
    CALL(QV_GetLogicalDriveStrings(drives, 64, nullptr), QV_ERR_DRIVESTRINGS);
    QvVolumeInfo info = {};
    info.name = name;
    info.nameSize = 64;
    CALL(QV_GetVolumeInformation(L"C:\\", &info), QV_ERR_VOLUMEINFO);

    if (CALL(QV_GetCurrentDirectory(buffer, 300), QV_ERR_GETCURDIR))
        for (const wchar_t* const each : {tree.c_str(), static_cast<const wchar_t*>(buffer)})
            CALL(QV_SetCurrentDirectory(each), QV_ERR_SETCURDIR);
    CALL(QV_SearchPath(session.path(""), L"tree", nullptr, buffer, 300), QV_ERR_SEARCHPATH);
    CALL(QV_GetStoragePath(buffer, 300, false), QV_ERR_NULLPTR, QV_ERR_SYSTEM);
    CALL(QV_RemoveDirectory(most), QV_ERR_REMOVEDIR);
    CALL(QV_RemoveDirectoryRecursively(tree), QV_ERR_REMOVEDIR);
}

void async_part(Session& session)
{
    std::string all;
    while (all.size() < size)
        all += static_cast<char>(all.size() * 31);
    QvFile file = nullptr;
    if (!CALL(QV_OpenFile(session.path("moving"),
                          QV_OPEN_READ | QV_OPEN_WRITE | QV_OPEN_CREATE | QV_OPEN_ALWAYS, share_all,
                          QV_SECURITY_DEFAULT, &file),
              QV_ERR_OPENFILE))
        return;
    if (write_all(session, file, all))
        read_all(session, file, all);
    copy_all(session, content(session.native("moving")).size() == size ? all : "");
    CALL(QV_CancelAsyncIO(file));
    CALL(QV_CloseFile(file), QV_ERR_CLOSEFILE);
}
