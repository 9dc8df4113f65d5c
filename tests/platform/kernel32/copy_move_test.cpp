// Copying, moving and deleting by name: what stays, what goes, and what stands in the way.
#include <cerrno>
#include <filesystem>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>
#include <windows.h>

#include "support/entries.h"
#include "support/environment.h"
#include "support/handles.h"

namespace fs = std::filesystem;

namespace
{

using test::error_of;

class CopyMove : public testing::Test
{
protected:
    ~CopyMove() override { PlinthTestReset(); }
    test::Wide path(const std::string& name) const { return test::windows_form(native(name)); }
    std::string native(const std::string& name) const { return m_folder + "/" + name; }
    void make(const std::string& name, const std::string& content)
    {
        test::write_file(native(name), content);
    }
    std::string content(const std::string& name) const { return test::read_file(native(name)); }
    DWORD copy(const char* from, const char* to, bool fail_if_exists = false)
    {
        return error_of(CopyFileW(path(from), path(to), fail_if_exists));
    }
    DWORD move(const char* from, const char* to, DWORD flags = MOVEFILE_REPLACE_EXISTING)
    {
        return error_of(MoveFileExW(path(from), path(to), flags));
    }
    DWORD remove(const char* name) { return error_of(DeleteFileW(path(name))); }
    test::Handle hold(const char* name, DWORD access, DWORD share) const
    {
        return test::Handle(test::open_file(path(name), access, share));
    }
    size_t entries() const { return test::entries(m_folder.c_str()); }
    std::string m_folder = test::make_folder("copymove");
};

TEST_F(CopyMove, ACopyKeepsTheWriteTimeAndTheReadOnlyAttribute)
{
    make("a", "content");
    const timespec times[2] = {{1'000'000'000, 0}, {1'100'000'000, 123'456'700}};
    ASSERT_EQ(utimensat(AT_FDCWD, native("a").c_str(), times, 0), 0);
    ASSERT_TRUE(SetFileAttributesW(path("a"), FILE_ATTRIBUTE_READONLY));
    ASSERT_EQ(copy("a", "b"), 0u);
    EXPECT_EQ(content("b"), "content");
    struct stat copied;
    ASSERT_EQ(stat(native("b").c_str(), &copied), 0);
    EXPECT_EQ(std::pair(copied.st_mtim.tv_sec, copied.st_mtim.tv_nsec),
              std::pair(times[1].tv_sec, times[1].tv_nsec));
    EXPECT_EQ(GetFileAttributesW(path("b")), DWORD{FILE_ATTRIBUTE_READONLY});
    make("c", "c");
    EXPECT_EQ(copy("c", "b"), ERROR_ACCESS_DENIED) << "onto a read-only file";
    EXPECT_EQ(content("b"), "content");
}

TEST_F(CopyMove, RefusalsHaveTheSystemsNumbers)
{
    make("a", "A");
    make("b", "B");
    fs::create_directory(native("folder"));
    using Errors = std::vector<DWORD>;
    EXPECT_EQ(Errors({copy("none", "c"), move("none", "c"), move("none", "b", 0), remove("none")}),
              Errors(4, ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(Errors({copy("none/none", "c"), copy("a", "none/c"), move("a", "none/c"),
                      move("a", "none/c", 0), remove("none/none")}),
              Errors(5, ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(
        Errors({copy("folder", "c"), copy("a", "folder"), move("a", "folder"), remove("folder")}),
        Errors(4, ERROR_ACCESS_DENIED));
    EXPECT_EQ(Errors({copy("a", "b", true), copy("a", "a", true)}), Errors(2, ERROR_FILE_EXISTS));
    EXPECT_EQ(copy("a", "a"), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(move("a", "b", 0), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(content("a") + content("b"), "AB");
    EXPECT_EQ(entries(), 3u) << "no failed copy leaves anything behind";
}

TEST_F(CopyMove, AFileMovesOntoItselfAndAFolderWithAllItHolds)
{
    fs::create_directory(native("folder"));
    make("folder/file", "x");
    EXPECT_EQ(move("folder/file", "folder/file"), 0u);
    EXPECT_EQ(move("folder/file", "folder/file", 0), 0u);
    EXPECT_EQ(move("folder", "moved", 0), 0u);
    EXPECT_EQ(content("moved/file"), "x");
}

TEST_F(CopyMove, ALinkGoesByItselfAndWhatItPointsAtStays)
{
    make("target", "T");
    ASSERT_TRUE(SetFileAttributesW(path("target"), FILE_ATTRIBUTE_READONLY));
    fs::create_symlink("target", native("link"));
    const test::Handle held = hold("target", GENERIC_READ, FILE_SHARE_READ);
    EXPECT_EQ(move("link", "moved", 0), 0u);
    EXPECT_TRUE(SetFileAttributesW(path("moved"), FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(GetFileAttributesW(path("target")), DWORD{FILE_ATTRIBUTE_READONLY});
    EXPECT_EQ(remove("moved"), 0u);
    EXPECT_EQ(content("target"), "T");
    EXPECT_EQ(entries(), 1u);
}

TEST_F(CopyMove, ACopyOntoALinkWritesWhatItPointsAt)
{
    fs::create_directory(native("elsewhere"));
    make("elsewhere/target", "old");
    make("new", "new");
    fs::create_symlink("elsewhere/target", native("link"));
    EXPECT_EQ(copy("new", "link"), 0u);
    EXPECT_TRUE(fs::is_symlink(native("link")));
    EXPECT_EQ(content("elsewhere/target"), "new");
    EXPECT_EQ(copy("elsewhere/target", "link"), ERROR_SHARING_VIOLATION) << "itself";
}

TEST_F(CopyMove, AFailureInTheMiddleOfACopyLeavesTheOldTargetAlone)
{
    const std::string large(3'000'000, 'a');
    make("a", large);
    make("b", "old");
    const auto expect_full_disk = [this]
    {
        EXPECT_EQ(copy("a", "b"), ERROR_DISK_FULL);
        EXPECT_EQ(content("b"), "old");
        EXPECT_EQ(entries(), 2u);
        PlinthTestReset();
    };
    for (const char* operation : {"copy_file_range", "chmod", "utimensat", "rename"})
    {
        SCOPED_TRACE(operation);
        PlinthTestFail(operation, 1, 1, ENOSPC);
        expect_full_disk();
    }
    // Without the kernel's help, by pieces; the second is cut, the rest of it finds no room.
    PlinthTestFail("copy_file_range", 1, 0, EXDEV);
    PlinthTestShorten("write", 2, 1, 1000);
    PlinthTestFail("write", 3, 1, ENOSPC);
    expect_full_disk();
    PlinthTestFail("copy_file_range", 1, 0, EXDEV);
    PlinthTestShorten("write", 2, 1, 1000);
    PlinthTestShorten("read", 2, 1, 77);
    EXPECT_EQ(copy("a", "b"), 0u);
    EXPECT_EQ(content("b"), large);
}

TEST_F(CopyMove, AFileWithoutASizeToGoByIsCopiedWhole)
{
    ASSERT_TRUE(CopyFileW(L"C:\\proc\\self\\maps", path("maps"), FALSE)) << GetLastError();
    EXPECT_NE(content("maps").find("[stack]"), std::string::npos);
}

TEST_F(CopyMove, AHeldFileIsNeitherOverwrittenNorLostByACopy)
{
    make("a", "A");
    make("b", "B");
    test::Handle held = hold("b", GENERIC_WRITE, FILE_SHARE_READ);
    ASSERT_TRUE(held);
    EXPECT_EQ(copy("a", "b"), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(copy("b", "c"), 0u) << "its holder shares reading";
    held.close();
    {
        const test::Handle alone = hold("b", GENERIC_READ, 0);
        EXPECT_EQ(copy("b", "d"), ERROR_SHARING_VIOLATION);
    }
    EXPECT_EQ(content("b") + content("c"), "BB");
}

} // namespace
