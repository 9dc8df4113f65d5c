// Below the state root: which links are followed, what is opened, and what counts as unreadable,
// with the kernel's call that refuses links and without it. tests/strangers plants every kind of
// object in every place.

#include <cerrno>
#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

#include "support/test.h"

#include <plinth_platform_test.h>

#include "support/environment.h"
#include "support/kernel_root.h"
#include "support/needs.h"

namespace
{

namespace fs = std::filesystem;

constexpr uid_t stranger = 61'000;

// A folder below the root, and one that isn't guarded.
struct GuardedPaths : testing::TestWithParam<bool>
{
    const std::string shared = test::make_folder("shared");
    const std::string outside = make_outside();

    GuardedPaths()
    {
        test::needs(geteuid() == 0, "root", "sudo");
        HKEY key = nullptr;
        RegOpenKeyW(HKEY_LOCAL_MACHINE, L"x", &key); // the first use guards the root
        chmod(shared.c_str(), 0777);
        test::write_file(outside + "/file", "old");
        if (!GetParam())
            PlinthTestFail("openat2", 1, 0, ENOSYS);
    }
    ~GuardedPaths() override
    {
        PlinthTestReset();
        fs::remove_all(outside);
    }
    static std::string make_outside()
    {
        std::string name = (fs::temp_directory_path() / "plinth-outside-XXXXXX").string();
        return mkdtemp(name.data());
    }
    std::string path(const std::string& name) const { return shared + "/" + name; }
    void link(const std::string& target, const std::string& name, uid_t owner) const
    {
        fs::create_symlink(target, path(name));
        EXPECT_EQ(lchown(path(name).c_str(), owner, owner), 0);
    }
    // Writes three characters at the beginning: 0 or the system error.
    DWORD write(const std::string& name, DWORD disposition = OPEN_ALWAYS) const
    {
        const HANDLE file = CreateFileW(test::windows_form(path(name)), GENERIC_WRITE,
                                        FILE_SHARE_READ, nullptr, disposition, 0, nullptr);
        if (file == INVALID_HANDLE_VALUE)
            return GetLastError();
        DWORD written = 0;
        EXPECT_TRUE(WriteFile(file, "new", 3, &written, nullptr));
        CloseHandle(file);
        return 0;
    }
    std::string outside_text() const { return test::read_file(outside + "/file"); }
};

INSTANTIATE_TEST_SUITE_P(, GuardedPaths, testing::Bool());

TEST_P(GuardedPaths, ALinkIsFollowedIfOnlyTheCallerOrTheFoldersOwnerCanHaveMadeIt)
{
    link(outside + "/file", "mine", 0);
    link(outside + "/file", "theirs", stranger);
    link(outside, "their_folder", stranger);
    link(outside, "my_folder", 0);
    EXPECT_EQ(write("theirs"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(write("theirs", CREATE_ALWAYS), ERROR_ACCESS_DENIED);
    EXPECT_EQ(write("their_folder/file"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(outside_text(), "old");
    EXPECT_EQ(write("my_folder/file"), 0u);
    EXPECT_EQ(outside_text(), "new");
    EXPECT_EQ(write("mine", CREATE_ALWAYS), 0u);
    // Links are followed no more if strangers own the folder.
    EXPECT_EQ(chown(shared.c_str(), stranger, stranger), 0);
    EXPECT_EQ(write("theirs"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(write("mine"), ERROR_ACCESS_DENIED);
    chmod(shared.c_str(), 0755);
    EXPECT_EQ(write("theirs"), ERROR_ACCESS_DENIED);
    // If only the folder's owner can write there, any link in it was made with the owner's consent.
    EXPECT_EQ(chown(shared.c_str(), 0, 0), 0);
    chmod(shared.c_str(), 0755);
    EXPECT_EQ(write("their_folder/file"), 0u);
}

TEST_P(GuardedPaths, NothingIsMadeMovedDeletedOrChangedThroughALinkOfAStranger)
{
    fs::create_directory(outside + "/folder");
    link(outside, "theirs", stranger);
    const test::Wide file = test::windows_form(path("theirs/file"));
    test::write_file(path("own"), "own");
    const test::Wide own = test::windows_form(path("own"));
    const test::Wide target = test::windows_form(path("theirs/target"));
    const auto refused = [](BOOL done) { return !done && GetLastError() == ERROR_ACCESS_DENIED; };
    EXPECT_TRUE(refused(DeleteFileW(file)));
    EXPECT_TRUE(refused(MoveFileExW(file, own, MOVEFILE_REPLACE_EXISTING)));
    EXPECT_TRUE(refused(MoveFileExW(own, target, 0)));
    EXPECT_TRUE(refused(CopyFileW(own, target, FALSE)));
    EXPECT_TRUE(refused(CopyFileW(own, file, FALSE)));
    EXPECT_TRUE(refused(CreateDirectoryW(target, nullptr)));
    EXPECT_TRUE(refused(RemoveDirectoryW(test::windows_form(path("theirs/folder")))));
    EXPECT_TRUE(refused(SetFileAttributesW(file, FILE_ATTRIBUTE_READONLY)));
    EXPECT_TRUE(refused(SetCurrentDirectoryW(test::windows_form(path("theirs")))));
    WIN32_FIND_DATAW data;
    const HANDLE search = FindFirstFileW(test::windows_form(path("theirs/*")), &data);
    EXPECT_TRUE(search == INVALID_HANDLE_VALUE && refused(FALSE));
    link(outside + "/file", "target", stranger);
    EXPECT_TRUE(refused(CopyFileW(own, test::windows_form(path("target")), FALSE)));
    EXPECT_EQ(outside_text(), "old");
    EXPECT_EQ(fs::status(outside + "/file").permissions() & fs::perms::owner_write,
              fs::perms::owner_write);
    EXPECT_EQ(std::distance(fs::directory_iterator(outside), fs::directory_iterator()), 2);
    // Deleting the link itself only takes rights to the folder.
    EXPECT_TRUE(DeleteFileW(test::windows_form(path("theirs"))));
}

TEST_P(GuardedPaths, AFurtherNameOfAStrangersFileIsRefusedWhereItMayHaveBeenPlanted)
{
    test::KernelRoot kernel;
    kernel.put("/proc/sys/fs/protected_hardlinks", "0\n");
    test::write_file(path("file"), "old");
    fs::create_hard_link(path("file"), path("name"));
    EXPECT_EQ(write("name"), 0u) << "one's own: a backup makes such names";
    EXPECT_EQ(chown(path("file").c_str(), stranger, stranger), 0);
    EXPECT_EQ(write("name"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(write("name", CREATE_ALWAYS), ERROR_ACCESS_DENIED);
    EXPECT_EQ(test::read_file(path("file")), "new") << "nothing is cut either";
    chmod(shared.c_str(), 01777);
    EXPECT_EQ(write("name"), 0u);
    chmod(shared.c_str(), 0755);
    EXPECT_EQ(write("name"), 0u);
    chmod(shared.c_str(), 0777);
    kernel.put("/proc/sys/fs/protected_hardlinks", "1\n");
    EXPECT_EQ(write("name"), 0u);
}

TEST_P(GuardedPaths, APathFromTheCurrentFolderIsGuardedToo)
{
    link(outside + "/file", "theirs", stranger);
    ASSERT_TRUE(SetCurrentDirectoryW(test::windows_form(shared)));
    for (const wchar_t* const name : {L"theirs", L".\\theirs", L"..\\shared\\theirs"})
        EXPECT_EQ(CreateFileW(name, GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr),
                  INVALID_HANDLE_VALUE);
    ASSERT_TRUE(SetCurrentDirectoryW(test::windows_form(outside)));
    const std::string name = fs::path(test::root()).filename();
    for (const std::string& path :
         {"../" + name + "/shared/theirs", test::root() + "//shared///theirs",
          outside + "/.././" + name + "/shared/theirs"})
        EXPECT_EQ(CreateFileW(path.starts_with('/') ? test::windows_form(path) : test::Wide(path),
                              GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr),
                  INVALID_HANDLE_VALUE)
            << path;
    EXPECT_EQ(outside_text(), "old");
}

} // namespace
