#include <gtest/gtest.h>

#include "support/files.h"

using test::OpenedFile;
using test::Wide;

namespace
{

class FileOperations : public testing::Test
{
protected:
    Wide path(const std::string& name) const { return test::path_in(m_folder, name); }
    void make(const std::string& name, const std::string& content)
    {
        test::write_file(m_folder + "/" + name, content);
    }
    std::string content(const std::string& name) const
    {
        return test::read_file(m_folder + "/" + name);
    }
    bool exists(const std::string& name) const { return QV_AccessFile(path(name), 0) == QV_OK; }
    int copy(const char* from, const char* to, int failIfExists)
    {
        return QV_CopyFile(path(from), path(to), failIfExists, nullptr, nullptr, nullptr);
    }
    int move(const char* from, const char* to, int failIfExists)
    {
        return QV_MoveFile(path(from), path(to), failIfExists, nullptr, nullptr, nullptr);
    }
    std::string m_folder = test::make_folder("operations");
};

TEST_F(FileOperations, CopyOverwritesOnlyIfAllowed)
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
}

TEST_F(FileOperations, MoveReplacesOnlyIfAllowed)
{
    make("a", "A");
    make("b", "B");
    EXPECT_EQ(move("a", "b", 1), QV_ERR_MOVEFILE) << "a move has no number for an existing file";
    EXPECT_EQ(move("a", "b", 0), QV_OK);
    EXPECT_FALSE(exists("a"));
    EXPECT_EQ(content("b"), "A");
    EXPECT_EQ(move("none", "c", 0), QV_ERR_MOVEFILE);
    OpenedFile held(path("b"), QV_OPEN_READ);
    EXPECT_EQ(move("b", "c", 0), QV_ERR_SHARING);
}

TEST_F(FileOperations, ReplaceKeepsTheOldFileAsBackup)
{
    make("new", "NEW");
    make("target", "OLD");
    make("backup", "OLDER");
    EXPECT_EQ(
        QV_ReplaceFile(path("new"), path("target"), path("backup"), nullptr, nullptr, nullptr),
        QV_OK);
    EXPECT_EQ(content("target"), "NEW");
    EXPECT_EQ(content("backup"), "OLD");
    EXPECT_FALSE(exists("new"));
    EXPECT_EQ(
        QV_ReplaceFile(path("new"), path("target"), path("backup"), nullptr, nullptr, nullptr),
        QV_ERR_MOVEFILE);
    EXPECT_EQ(content("backup"), "NEW") << "the first move stays done";
    EXPECT_FALSE(exists("target"));
}

TEST_F(FileOperations, RemoveForgivesAMissingFileUnlessStrict)
{
    EXPECT_EQ(QV_RemoveFile(path("none"), 0), QV_OK);
    EXPECT_EQ(QV_RemoveFile(path("none/none"), 0), QV_OK);
    EXPECT_EQ(QV_RemoveFile(path("none"), 1), QV_ERR_REMOVEFILE);
    make("file", "x");
    ASSERT_TRUE(SetFileAttributesW(path("file"), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(QV_AccessFile(path("file"), 0), QV_OK);
    EXPECT_EQ(QV_AccessFile(path("file"), 2), QV_ERR_READONLY);
    EXPECT_EQ(QV_RemoveFile(path("file"), 1), QV_OK) << "a read-only file goes too";
    EXPECT_FALSE(exists("file"));
    EXPECT_EQ(QV_RemoveFile(test::windows_form(m_folder), 1), QV_ERR_ACCESS);
    make("held", "x");
    OpenedFile held(path("held"), QV_OPEN_READ);
    EXPECT_EQ(QV_RemoveFile(path("held"), 0), QV_ERR_REMOVEFILE);
}

TEST_F(FileOperations, SearchPathFindsAFileAndAddsTheExtension)
{
    make("tool.cfg", "x");
    const Wide folder = test::windows_form(m_folder);
    wchar_t found[1024] = L"";
    EXPECT_EQ(QV_SearchPath(folder, L"tool", L".cfg", found, 1024), QV_OK);
    EXPECT_EQ(test::utf8(found), path("tool.cfg").utf8());
    EXPECT_EQ(QV_SearchPath(folder, L"other", L".cfg", found, 1024), QV_ERR_SEARCHPATH);
    wchar_t small[4] = L"abc";
    EXPECT_EQ(QV_SearchPath(folder, L"tool", L".cfg", small, 4), QV_OK) << "too small is success";
}

TEST_F(FileOperations, SearchGivesEveryEntrySortedAndWithItsData)
{
    make("b.log", "12345");
    make("A.log", "1");
    make("c.txt", "");
    test::make_folder("operations/D.log");
    QvFindHandle search = nullptr;
    struct tm written = {};
    QvFindData data = {};
    data.writeTime = &written;
    std::string names;
    ASSERT_EQ(QV_FindFileFirst(path("*.LOG"), &search, &data), QV_OK);
    int status = QV_OK;
    do
    {
        names += test::utf8(data.name) + (data.isDirectory ? "/" : "=") +
                 (data.isDirectory ? "" : std::to_string(data.size)) + " ";
        EXPECT_GT(written.tm_year, 100);
        EXPECT_EQ(written.tm_isdst, -1);
    } while ((status = QV_FindFileNext(search, &data)) == QV_OK);
    EXPECT_EQ(names, "A.log=1 b.log=5 D.log/ ");
    EXPECT_EQ(status, QV_ERR_FINDNEXT);
    EXPECT_EQ(QV_FindFileClose(search), QV_OK);
    EXPECT_EQ(QV_FindFileClose(search), QV_ERR_FINDCLOSE);

    search = nullptr;
    EXPECT_EQ(QV_FindFileFirst(path("*.none"), &search, &data), QV_ERR_FINDFIRST);
    EXPECT_EQ(search, nullptr);
    EXPECT_EQ(QV_FindFileFirst(path("*"), nullptr, &data), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_FindFileFirst(path("*"), &search, nullptr), QV_OK);
    data = {};
    EXPECT_EQ(QV_FindFileNext(search, &data), QV_OK);
    EXPECT_EQ(test::utf8(data.name), "..") << "the first entry, \".\", was not asked for";
    EXPECT_EQ(QV_FindFileClose(search), QV_OK);
}

} // namespace
