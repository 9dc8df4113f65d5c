#include <filesystem>

#include <gtest/gtest.h>

#include "support/files.h"

using test::Wide;

namespace
{

class Directories : public testing::Test
{
protected:
    Wide path(const std::string& name) const { return test::path_in(m_folder, name); }
    bool is_directory(const std::string& name) const
    {
        return std::filesystem::is_directory(m_folder + "/" + name);
    }
    std::string m_folder = test::make_folder("directories");
};

TEST_F(Directories, AreMadeWithTheirParentsOnRequest)
{
    EXPECT_EQ(QV_CreateDirectory(path("a/b/c"), 0, QV_SECURITY_DEFAULT), QV_ERR_CREATEDIR);
    EXPECT_EQ(QV_CreateDirectory(path("a/b/c/"), 1, QV_SECURITY_DEFAULT), QV_OK);
    EXPECT_TRUE(is_directory("a/b/c"));
    EXPECT_EQ(QV_CreateDirectory(path("a/b/c"), 1, QV_SECURITY_DEFAULT), QV_OK);
    EXPECT_EQ(QV_CreateDirectory(path("single"), 0, QV_SECURITY_DEFAULT), QV_OK);
    EXPECT_TRUE(is_directory("single"));

    test::write_file(m_folder + "/file", "x");
    EXPECT_EQ(QV_CreateDirectory(path("file"), 0, QV_SECURITY_DEFAULT), QV_OK)
        << "what can be read and written is not looked at further";
    EXPECT_EQ(QV_CreateDirectory(path("file/sub"), 1, QV_SECURITY_DEFAULT), QV_ERR_CREATEDIR);
    EXPECT_EQ(QV_CreateDirectory(L"", 0, QV_SECURITY_DEFAULT), QV_ERR_CREATEDIR);
    EXPECT_EQ(QV_CreateDirectory(L"\\no-such-root\\x", 1, QV_SECURITY_DEFAULT), QV_ERR_CREATEDIR)
        << "the first prefix is empty and can't be made";
    EXPECT_EQ(QV_CreateDirectory(nullptr, 1, QV_SECURITY_DEFAULT), QV_ERR_CREATEDIR);
}

TEST_F(Directories, ParentsAreMadeForTheFirst259Characters)
{
    // Levels of 50 characters: those that end beyond the limit are not made.
    std::string deep = "deep";
    while (path(deep).size() < 300)
        deep += "/" + std::string(49, 'd');
    EXPECT_EQ(QV_CreateDirectory(path(deep + "/x"), 1, QV_SECURITY_DEFAULT), QV_ERR_CREATEDIR);
    std::string made;
    for (size_t end = deep.find('/'); end != std::string::npos; end = deep.find('/', end + 1))
        if (path(deep.substr(0, end)).size() < 259)
            made = deep.substr(0, end);
    EXPECT_TRUE(is_directory(made));
    EXPECT_FALSE(is_directory(deep));
}

TEST_F(Directories, RecursiveRemovalLeavesHiddenEntriesAndLinkTargetsAlone)
{
    test::make_folder("directories/tree/sub/subsub");
    test::write_file(m_folder + "/tree/file", "x");
    test::write_file(m_folder + "/tree/sub/file", "x");
    ASSERT_TRUE(SetFileAttributesW(path("tree/sub/file"), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(QV_RemoveDirectory(path("tree")), QV_ERR_REMOVEDIR);
    EXPECT_EQ(QV_RemoveDirectoryRecursively(path("tree")), QV_OK);
    EXPECT_FALSE(is_directory("tree"));
    EXPECT_EQ(QV_RemoveDirectoryRecursively(path("tree")), QV_ERR_REMOVEDIR);
    EXPECT_EQ(QV_RemoveDirectoryRecursively(L""), QV_ERR_SYSTEM);

    test::make_folder("directories/kept");
    test::write_file(m_folder + "/kept/.hidden", "x");
    test::write_file(m_folder + "/kept/file", "x");
    EXPECT_EQ(QV_RemoveDirectoryRecursively(path("kept")), QV_ERR_REMOVEDIR);
    EXPECT_EQ(test::read_file(m_folder + "/kept/.hidden"), "x");
    EXPECT_EQ(test::read_file(m_folder + "/kept/file"), "");

#ifndef _WIN32 // making links needs a privilege there
    test::make_folder("directories/linking");
    std::filesystem::create_directory_symlink(m_folder + "/kept", m_folder + "/linking/link");
    EXPECT_EQ(QV_RemoveDirectoryRecursively(path("linking")), QV_OK);
    EXPECT_EQ(test::read_file(m_folder + "/kept/.hidden"), "x");
#endif
}

TEST_F(Directories, TheProbeTestsTheFolderThatHoldsTheName)
{
    EXPECT_TRUE(QV_IsDirectoryWritable(path("none")));
    EXPECT_TRUE(QV_IsDirectoryWritable(path("")));
    EXPECT_FALSE(QV_IsDirectoryWritable(path("none/")));
    EXPECT_FALSE(QV_IsDirectoryWritable(path("none/sub")));
    EXPECT_FALSE(QV_IsDirectoryWritable(nullptr));
    EXPECT_TRUE(std::filesystem::is_empty(m_folder)) << "the probes are gone";
    // What the probe is called shows where it can't be made.
    test::make_folder("directories/sub.tested");
    test::make_folder("directories/file_451_124_54545.tested");
    EXPECT_FALSE(QV_IsDirectoryWritable(path("sub")));
    EXPECT_FALSE(QV_IsDirectoryWritable(path("")));
}

TEST_F(Directories, TheCurrentDirectoryCanBeSetAndAsked)
{
    wchar_t before[1024];
    ASSERT_EQ(QV_GetCurrentDirectory(before, 1024), QV_OK);
    ASSERT_EQ(QV_SetCurrentDirectory(path("")), QV_OK);
    wchar_t now[1024];
    EXPECT_EQ(QV_GetCurrentDirectory(now, 1024), QV_OK);
    EXPECT_EQ(test::utf8(now), test::windows_form(m_folder).utf8());
    wchar_t small[2] = L"x";
    EXPECT_EQ(QV_GetCurrentDirectory(small, 2), QV_OK) << "too small is success";
    test::write_file(m_folder + "/relative", "x");
    EXPECT_EQ(QV_AccessFile(L"relative", 0), QV_OK);
    EXPECT_EQ(QV_SetCurrentDirectory(path("none")), QV_ERR_SETCURDIR);
    EXPECT_EQ(QV_SetCurrentDirectory(before), QV_OK);
}

TEST_F(Directories, VolumesTellTheirSpaceTypeAndName)
{
    uint64_t mine = 0, total = 0, free = 0;
    EXPECT_EQ(QV_GetDiskSpaces(path(""), &mine, &total, &free), QV_OK);
    EXPECT_GT(total, 0u);
    EXPECT_LE(mine, free);
    EXPECT_LE(free, total);
    EXPECT_EQ(QV_GetDiskSpaces(path(""), nullptr, nullptr, nullptr), QV_OK);
    EXPECT_EQ(QV_GetDiskSpaces(path("none"), &mine, &total, &free), QV_ERR_DISKSPACE);

    wchar_t drives[512] = L"";
    unsigned needed = 0;
    EXPECT_EQ(QV_GetLogicalDriveStrings(drives, 512, &needed), QV_OK);
    EXPECT_EQ(QV_GetLogicalDriveStrings(drives, 1, &needed), QV_ERR_BUFFERSMALL);
    EXPECT_GE(needed, 5u) << "\"C:\\\" with both terminators";
    EXPECT_EQ(QV_GetLogicalDriveStrings(drives, 1, nullptr), QV_ERR_BUFFERSMALL);

    QvVolumeInfo info = {};
    EXPECT_EQ(QV_GetVolumeInformation(L"C:\\", &info), QV_OK);
    EXPECT_EQ(info.type, static_cast<uint32_t>(DRIVE_FIXED));
    EXPECT_EQ(QV_GetVolumeInformation(L"C:\\", nullptr), QV_ERR_NULLPTR);
    wchar_t name[8], extra[4] = L"abc";
    info.name = name;
    info.nameSize = 8;
    info.extra = extra;
    info.extraSize = 4;
    info.flags = 77;
    EXPECT_EQ(QV_GetVolumeInformation(L"C:\\", &info), QV_OK);
    EXPECT_EQ(info.flags, 0u);
    EXPECT_EQ(extra[0], L'\0');
    EXPECT_EQ(QV_GetVolumeInformation(L"Q:\\", &info), QV_ERR_VOLUMEINFO);
    EXPECT_EQ(info.type, static_cast<uint32_t>(DRIVE_NO_ROOT_DIR));
    EXPECT_EQ(QV_GetUNCPath(nullptr, nullptr, 0), QV_ERR_NOTIMPL);
}

} // namespace
