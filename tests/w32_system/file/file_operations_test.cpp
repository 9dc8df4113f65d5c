// Operations by name: on files and directories, searches, volumes.
#include "folder.h"

using test::OpenedFile;
using test::Wide;

namespace
{

struct FileOperations : test::InFolder
{
    int copy(const char* from, const char* to, int fail_if_exists)
    {
        return QV_CopyFile(path(from), path(to), fail_if_exists, nullptr, nullptr, nullptr);
    }
    int move(const char* from, const char* to, int fail_if_exists)
    {
        return QV_MoveFile(path(from), path(to), fail_if_exists, nullptr, nullptr, nullptr);
    }
    int replace()
    {
        return QV_ReplaceFile(path("new"), path("a"), path("b"), nullptr, nullptr, nullptr);
    }
    int make_parents(const std::string& name, int recursive = 1)
    {
        return QV_CreateDirectory(path(name), recursive, QV_SECURITY_DEFAULT);
    }
};

TEST_F(FileOperations, CopyAndMoveReplaceOnlyIfAllowed)
{
    make("a", "A");
    make("b", "B");
    EXPECT_EQ(copy("a", "b", 1), QV_ERR_FILEEXISTS);
    EXPECT_EQ(content("b"), "B");
    EXPECT_EQ(copy("a", "b", 0), QV_OK);
    EXPECT_EQ(content("b"), "A");
    EXPECT_EQ(copy("a", "c", 1), QV_OK);
    EXPECT_EQ(content("c"), "A");
    EXPECT_EQ(copy("none", "d", 0), QV_ERR_COPYFILE);
    EXPECT_FALSE(exists("d"));

    make("a", "new");
    EXPECT_EQ(move("a", "b", 1), QV_ERR_MOVEFILE) << "a move has no number for an existing file";
    EXPECT_EQ(move("a", "b", 0), QV_OK);
    EXPECT_FALSE(exists("a"));
    EXPECT_EQ(content("b"), "new");
    EXPECT_EQ(move("none", "d", 0), QV_ERR_MOVEFILE);
    OpenedFile held(path("b"), QV_OPEN_READ);
    EXPECT_EQ(move("b", "d", 0), QV_ERR_SHARING);
}

TEST_F(FileOperations, ReplaceKeepsTheOldFileAsBackup)
{
    make("new", "NEW");
    make("a", "OLD");
    make("b", "OLDER");
    EXPECT_EQ(replace(), QV_OK);
    EXPECT_EQ(content("a") + content("b"), "NEWOLD");
    EXPECT_FALSE(exists("new"));
    EXPECT_EQ(replace(), QV_ERR_MOVEFILE);
    EXPECT_EQ(content("b"), "NEW") << "the first move stays done";
    EXPECT_FALSE(exists("a"));
}

TEST_F(FileOperations, RemoveForgivesAMissingFileUnlessStrict)
{
    EXPECT_EQ(QV_RemoveFile(path("none"), 0), QV_OK);
    EXPECT_EQ(QV_RemoveFile(path("none"), 1), QV_ERR_REMOVEFILE);
    EXPECT_EQ(QV_AccessFile(path("none"), 0), QV_ERR_ACCESS);
    make("file");
    EXPECT_EQ(QV_AccessFile(path("file"), 2), QV_OK);
    ASSERT_TRUE(SetFileAttributesW(path("file"), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(QV_AccessFile(path("file"), 0), QV_OK);
    EXPECT_EQ(QV_AccessFile(path("file"), 2), QV_ERR_READONLY);
    EXPECT_EQ(QV_RemoveFile(path("file"), 1), QV_OK) << "a read-only file goes too";
    EXPECT_FALSE(exists("file"));
    make("held");
    OpenedFile held(path("held"), QV_OPEN_READ);
    EXPECT_EQ(QV_RemoveFile(path("held"), 0), QV_ERR_REMOVEFILE);
}

TEST_F(FileOperations, AFolderThatNobodyMayWriteIsReadOnlyAsAFileIs)
{
    namespace fs = std::filesystem;
    const fs::path folder = native("folder");
    fs::create_directory(folder);
    EXPECT_EQ(QV_AccessFile(path("folder"), 2), QV_OK);
    fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_EQ(QV_AccessFile(path("folder"), 0), QV_OK);
    EXPECT_EQ(QV_AccessFile(path("folder"), 2), QV_ERR_READONLY);
    fs::permissions(folder, fs::perms::owner_all);
}

TEST_F(FileOperations, SearchPathFindsAFileAndAddsTheExtension)
{
    make("tool.cfg");
    const Wide folder = test::windows_form(m_folder);
    wchar_t found[1024] = L"";
    EXPECT_EQ(QV_SearchPath(folder, L"tool", L".cfg", found, 1024), QV_OK);
    EXPECT_EQ(test::utf8(found), path("tool.cfg").utf8());
    EXPECT_EQ(QV_SearchPath(folder, L"other", L".cfg", found, 1024), QV_ERR_SEARCHPATH);
}

TEST_F(FileOperations, SearchGivesEveryEntrySortedAndWithItsData)
{
    make("b.log", "12345");
    make("A.log", "1");
    make("c.txt");
    std::filesystem::create_directories(native("D.log"));
    QvFindHandle search = nullptr;
    struct tm written = {};
    QvFindData data = {};
    data.writeTime = &written;
    std::string names;
    ASSERT_EQ(QV_FindFileFirst(path("*.LOG"), &search, &data), QV_OK);
    int status = QV_OK;
    do
    {
        names += test::utf8(data.name) +
                 (data.isDirectory ? "/ " : "=" + std::to_string(data.size) + " ");
        EXPECT_GT(written.tm_year, 100);
        EXPECT_EQ(written.tm_isdst, -1);
    } while ((status = QV_FindFileNext(search, &data)) == QV_OK);
    EXPECT_EQ(names, "A.log=1 b.log=5 D.log/ ");
    EXPECT_EQ(status, QV_ERR_FINDNEXT);
    EXPECT_EQ(QV_FindFileClose(search), QV_OK);
    EXPECT_EQ(QV_FindFileClose(INVALID_HANDLE_VALUE), QV_ERR_FINDCLOSE);

    search = nullptr;
    EXPECT_EQ(QV_FindFileFirst(path("*.none"), &search, &data), QV_ERR_FINDFIRST);
    EXPECT_EQ(search, nullptr);
    EXPECT_EQ(QV_FindFileFirst(path("*"), nullptr, &data), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_FindFileFirst(path("*"), &search, nullptr), QV_OK);
    EXPECT_EQ(QV_FindFileNext(search, &data), QV_OK);
    EXPECT_EQ(test::utf8(data.name), "..") << "the first entry, \".\", was not asked for";
    EXPECT_EQ(QV_FindFileClose(search), QV_OK);
}

TEST_F(FileOperations, DirectoriesAreMadeWithTheirParentsOnRequest)
{
    EXPECT_EQ(make_parents("a/b/c", 0), QV_ERR_CREATEDIR);
    EXPECT_EQ(make_parents("a/b/c/"), QV_OK);
    EXPECT_TRUE(exists("a/b/c"));
    EXPECT_EQ(make_parents("a/b/c"), QV_OK);
    EXPECT_EQ(make_parents("single", 0), QV_OK);
    EXPECT_TRUE(exists("single"));
    make("file");
    EXPECT_EQ(make_parents("file/sub"), QV_ERR_CREATEDIR);
    EXPECT_EQ(QV_CreateDirectory(L"", 0, QV_SECURITY_DEFAULT), QV_ERR_CREATEDIR);
    EXPECT_EQ(QV_CreateDirectory(nullptr, 1, QV_SECURITY_DEFAULT), QV_ERR_CREATEDIR);

    // Levels of 50 characters: those that end beyond the first 259 are not made.
    std::string deep = "deep", made;
    for (; path(deep).size() < 300; deep += "/" + std::string(49, 'd'))
        if (path(deep).size() < 259)
            made = deep;
    EXPECT_EQ(make_parents(deep + "/x"), QV_ERR_CREATEDIR);
    EXPECT_TRUE(exists(made));
    EXPECT_FALSE(exists(deep));
}

TEST_F(FileOperations, RecursiveRemovalLeavesHiddenEntriesAndLinkTargetsAlone)
{
    std::filesystem::create_directories(native("tree/sub/subsub"));
    make("tree/file");
    make("tree/sub/file");
    ASSERT_TRUE(SetFileAttributesW(path("tree/sub/file"), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(QV_RemoveDirectory(path("tree")), QV_ERR_REMOVEDIR);
    EXPECT_EQ(QV_RemoveDirectoryRecursively(path("tree")), QV_OK);
    EXPECT_FALSE(exists("tree"));
    EXPECT_EQ(QV_RemoveDirectoryRecursively(path("tree")), QV_ERR_REMOVEDIR);
    EXPECT_EQ(QV_RemoveDirectoryRecursively(nullptr), QV_ERR_SYSTEM);

    std::filesystem::create_directories(native("kept"));
    make("kept/.hidden");
    make("kept/file");
    EXPECT_EQ(QV_RemoveDirectoryRecursively(path("kept")), QV_ERR_REMOVEDIR);
    EXPECT_TRUE(exists("kept/.hidden"));
    EXPECT_FALSE(exists("kept/file"));

#ifndef _WIN32 // making links needs a privilege there
    make("kept/file");
    std::filesystem::create_directories(native("linking"));
    std::filesystem::create_directory_symlink(native("kept"), native("linking/link"));
    EXPECT_EQ(QV_RemoveDirectoryRecursively(path("linking")), QV_OK);
    EXPECT_TRUE(exists("kept/file"));
#endif
}

TEST_F(FileOperations, TheProbeTestsTheFolderThatHoldsTheName)
{
    EXPECT_TRUE(QV_IsDirectoryWritable(path("none")));
    EXPECT_TRUE(QV_IsDirectoryWritable(path("")));
    EXPECT_FALSE(QV_IsDirectoryWritable(path("none/")));
    EXPECT_FALSE(QV_IsDirectoryWritable(path("none/sub")));
    EXPECT_FALSE(QV_IsDirectoryWritable(nullptr));
    EXPECT_TRUE(std::filesystem::is_empty(m_folder)) << "the probes are gone";
}

TEST_F(FileOperations, TheCurrentDirectoryCanBeSetAndAsked)
{
    wchar_t before[1024], now[1024];
    ASSERT_EQ(QV_GetCurrentDirectory(before, 1024), QV_OK);
    ASSERT_EQ(QV_SetCurrentDirectory(path("")), QV_OK);
    EXPECT_EQ(QV_GetCurrentDirectory(now, 1024), QV_OK);
    EXPECT_EQ(test::utf8(now), test::windows_form(m_folder).utf8());
    make("relative");
    EXPECT_EQ(QV_AccessFile(L"relative", 0), QV_OK);
    EXPECT_EQ(QV_SetCurrentDirectory(path("none")), QV_ERR_SETCURDIR);
    EXPECT_EQ(QV_SetCurrentDirectory(before), QV_OK);
}

TEST_F(FileOperations, VolumesTellTheirSpaceTypeAndName)
{
    uint64_t mine = 0, total = 0, free = 0;
    EXPECT_EQ(QV_GetDiskSpaces(path(""), &mine, &total, &free), QV_OK);
    EXPECT_GT(total, 0u);
    EXPECT_LE(mine, free);
    EXPECT_LE(free, total);
    EXPECT_EQ(QV_GetDiskSpaces(path("none"), &mine, &total, &free), QV_ERR_DISKSPACE);

    wchar_t drives[512] = L"", name[8];
    unsigned needed = 0;
    EXPECT_EQ(QV_GetLogicalDriveStrings(drives, 512, &needed), QV_OK);
    EXPECT_EQ(QV_GetLogicalDriveStrings(drives, 1, &needed), QV_ERR_BUFFERSMALL);
    EXPECT_GE(needed, 5u) << "\"C:\\\" with both terminators";

    QvVolumeInfo info = {};
    EXPECT_EQ(QV_GetVolumeInformation(L"C:\\", &info), QV_OK);
    EXPECT_EQ(info.type, static_cast<uint32_t>(DRIVE_FIXED));
    EXPECT_EQ(QV_GetVolumeInformation(L"C:\\", nullptr), QV_ERR_NULLPTR);
    info.extra = name;
    info.extraSize = 8;
    EXPECT_EQ(QV_GetVolumeInformation(L"C:\\", &info), QV_OK) << "extra alone";
    info.name = name;
    info.nameSize = 8;
    EXPECT_EQ(QV_GetVolumeInformation(L"Q:\\", &info), QV_ERR_VOLUMEINFO);
    EXPECT_EQ(info.type, static_cast<uint32_t>(DRIVE_NO_ROOT_DIR));
    EXPECT_EQ(QV_GetUNCPath(nullptr, nullptr, 0), QV_ERR_NOTIMPL);
}

} // namespace
