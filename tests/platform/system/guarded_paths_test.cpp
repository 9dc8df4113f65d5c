// Below the state root: which links are followed, what is opened, and what counts as unreadable,
// with the kernel's call that refuses links and without it. tests/strangers plants every kind of
// object in every place.

#include <cerrno>
#include <filesystem>

#include <shlobj.h>
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
    const std::string outside = test::make_folder_outside("outside");

    GuardedPaths()
    {
        test::needs(geteuid() == 0, "root", "sudo");
        chmod(shared.c_str(), 0777);
        test::write_file(outside + "/file", "old");
        if (!GetParam())
            PlinthTestFail("openat2", 1, 0, ENOSYS);
    }
    ~GuardedPaths() override { PlinthTestReset(); }
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
    EXPECT_EQ(chown(shared.c_str(), stranger, stranger), 0);
    for (const mode_t mode : {0700, 0755, 01777})
    {
        chmod(shared.c_str(), mode);
        EXPECT_EQ(write("name"), ERROR_ACCESS_DENIED) << mode;
    }
    chmod(shared.c_str(), 0777);
    kernel.put("/proc/sys/fs/protected_hardlinks", "1\n");
    EXPECT_EQ(write("name"), 0u);
}

TEST_P(GuardedPaths, AStrangersFolderInThePlaceOfTheRootIsNotUsed)
{
    test::write_file(path("file"), "old");
    EXPECT_EQ(write("file"), 0u);
    const std::string away = test::root() + ".away";
    const auto replaced_by = [&](uid_t owner)
    {
        fs::remove_all(away);
        fs::rename(test::root(), away);
        fs::create_directories(shared);
        EXPECT_EQ(chown(test::root().c_str(), owner, owner), 0);
    };
    replaced_by(stranger);
    test::write_file(path("theirs"), "old");
    EXPECT_EQ(chown(path("theirs").c_str(), stranger, stranger), 0);
    EXPECT_EQ(write("theirs"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(write("new"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(write("new", CREATE_NEW), ERROR_ACCESS_DENIED);
    EXPECT_FALSE(CreateDirectoryW(test::windows_form(path("folder")), nullptr));
    EXPECT_EQ(std::distance(fs::directory_iterator(shared), fs::directory_iterator()), 1);
    replaced_by(0);
    EXPECT_EQ(write("new", CREATE_NEW), 0u);
    EXPECT_EQ(write("new"), 0u);
    fs::remove_all(away);
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
         {"../../" + name + "/shared/theirs", test::root() + "//shared///theirs",
          outside + "/../.././" + name + "/shared/theirs"})
        EXPECT_EQ(CreateFileW(path.starts_with('/') ? test::windows_form(path) : test::Wide(path),
                              GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr),
                  INVALID_HANDLE_VALUE)
            << path;
    EXPECT_EQ(outside_text(), "old");
}

// Each path leads to the folder "disk", from the folder of the test.
struct SpelledRoot : testing::TestWithParam<const char*>
{
};

INSTANTIATE_TEST_SUITE_P(, SpelledRoot,
                         testing::Values("/link", "//link//", "/./link", "/link/.", "/link/./",
                                         "/none/../link", "/link/../disk", "/deep/../../link",
                                         "/link/.//deep/../..//./link"));

TEST_P(SpelledRoot, IsGuardedBeforeAndAfterItsFirstUse)
{
    test::needs(geteuid() == 0, "root", "sudo");
    const std::string disk = test::make_folder("disk");
    const std::string far = test::make_folder("far");
    fs::create_directories(far + "/one/two");
    fs::create_directories(disk + "/registry");
    fs::create_symlink("disk", test::root() + "/link");
    for (const std::string& folder : {test::root(), disk})
        fs::create_symlink(far + "/one/two", folder + "/deep");
    fs::create_symlink(disk, far + "/link"); // "deep/../.." is the folder "far"
    test::write_file(far + "/file", "old");
    fs::create_symlink(far + "/file", disk + "/theirs");
    fs::create_symlink(far + "/made", disk + "/registry/HKEY_LOCAL_MACHINE.reg.lock");
    for (const char* const name : {"/theirs", "/registry/HKEY_LOCAL_MACHINE.reg.lock"})
        EXPECT_EQ(lchown((disk + name).c_str(), stranger, stranger), 0);
    chmod(disk.c_str(), 0777);
    chmod((disk + "/registry").c_str(), 0777);
    setenv("PLINTH_ROOT", (test::root() + GetParam()).c_str(), 1);
    const auto opens = [](const std::string& path)
    {
        const HANDLE file = CreateFileW(test::windows_form(path), GENERIC_WRITE, 0, nullptr,
                                        OPEN_ALWAYS, 0, nullptr);
        return file != INVALID_HANDLE_VALUE && CloseHandle(file);
    };
    EXPECT_FALSE(opens(disk + "/theirs"));
    EXPECT_TRUE(opens(disk + "/own"));
    HKEY key = nullptr;
    EXPECT_NE(RegCreateKeyW(HKEY_LOCAL_MACHINE, L"x", &key), 0);
    wchar_t data[MAX_PATH];
    ASSERT_EQ(SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, data), S_OK);
    EXPECT_TRUE(fs::exists(disk + "/ProgramData"));
    const std::string root = fs::path(test::native_form(data)).parent_path();
    EXPECT_FALSE(opens(root + "/theirs"));
    EXPECT_TRUE(opens(root + "/own"));
    EXPECT_FALSE(fs::exists(far + "/made"));
}

} // namespace
