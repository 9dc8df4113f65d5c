// Share modes, locks and removal between processes.
#include <atomic>
#include <filesystem>
#include <thread>

#include <gtest/gtest.h>

#include <tchar.h>
#include <windows.h>

#include "support/processes.h"
#include "support/soak.h"

namespace
{

HANDLE open_file(const test::Wide& path, DWORD access, DWORD share, DWORD disposition)
{
    return CreateFileW(path, access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Opens a file as told, says so, and holds it until its input ends.
int hold_file(int, char** argv)
{
    const HANDLE file = open_file(test::Wide(argv[0]), static_cast<DWORD>(std::stoul(argv[1])),
                                  static_cast<DWORD>(std::stoul(argv[2])), OPEN_ALWAYS);
    if (file != INVALID_HANDLE_VALUE && argv[3][0] == 'l')
        LockFile(file, 100, 0, 10, 0);
    std::puts(file != INVALID_HANDLE_VALUE ? "open" : "refused");
    std::fflush(stdout);
    while (std::getchar() != EOF)
    {
    }
    return 0;
}
const test::ChildMain hold_file_main("hold-file", hold_file);

// Deletes the file again and again until its input ends, and tells how often it did.
int delete_file(int, char** argv)
{
    const test::Wide path(argv[0]);
    std::atomic<bool> ended{false};
    std::thread listener(
        [&]
        {
            while (std::getchar() != EOF)
            {
            }
            ended = true;
        });
    std::puts("ready");
    std::fflush(stdout);
    unsigned deleted = 0;
    while (!ended)
        deleted += DeleteFileW(path) != 0;
    listener.join();
    std::printf("%u\n", deleted);
    return 0;
}
const test::ChildMain delete_file_main("delete-file", delete_file);

class SharedFile : public testing::Test
{
protected:
    test::Process holder(DWORD access, DWORD share, const char* lock = "-")
    {
        return test::Process::child(
            "hold-file", {m_path.utf8(), std::to_string(access), std::to_string(share), lock});
    }
    DWORD error_of_opening(DWORD access, DWORD share)
    {
        const HANDLE file = open_file(m_path, access, share, OPEN_EXISTING);
        if (file == INVALID_HANDLE_VALUE)
            return GetLastError();
        CloseHandle(file);
        return 0;
    }
    // While another process deletes the file again and again: open makes it where it is missing,
    // calls what it is given while it has it open, and tells whether it got it.
    template <class Open> void expect_a_name_for_each(Open open)
    {
        test::Process other = test::Process::child("delete-file", {m_path.utf8()});
        ASSERT_EQ(other.read_line(), "ready");
        int lost = 0;
        int opened = 0;
        const auto look = [&] { lost += !std::filesystem::exists(m_folder + "/file"); };
        const test::SoakTime soak;
        do
            for (int i = 0; i < 5000; ++i)
                opened += open(look);
        while (soak.goes_on());
        soak.report("opens", static_cast<uint64_t>(opened));
        EXPECT_EQ(lost, 0) << "of " << opened;
        EXPECT_GT(opened, 1000);
    }
    std::string m_folder = test::make_folder("share");
    test::Wide m_path = test::windows_form(m_folder + "/file");
};

TEST_F(SharedFile, IsDeniedToOtherProcessesAsItsHolderSays)
{
    const struct
    {
        DWORD held, shared, wanted, sharing, error;
    } rows[] = {
        {GENERIC_READ, FILE_SHARE_READ, GENERIC_READ, FILE_SHARE_READ, 0},
        {GENERIC_READ, FILE_SHARE_READ, GENERIC_WRITE, FILE_SHARE_READ, ERROR_SHARING_VIOLATION},
        {GENERIC_READ, 0, GENERIC_READ, 3, ERROR_SHARING_VIOLATION},
        {GENERIC_READ | GENERIC_WRITE, 3, GENERIC_READ | GENERIC_WRITE, 3, 0},
        {GENERIC_READ | GENERIC_WRITE, 3, GENERIC_READ, FILE_SHARE_READ, ERROR_SHARING_VIOLATION},
        {GENERIC_READ | FILE_APPEND_DATA, 3, GENERIC_READ | FILE_APPEND_DATA, 3, 0},
        {GENERIC_WRITE, FILE_SHARE_READ, GENERIC_READ, 3, 0},
        {GENERIC_WRITE, FILE_SHARE_READ, FILE_APPEND_DATA, 3, ERROR_SHARING_VIOLATION},
    };
    for (const auto& row : rows)
    {
        test::Process other = holder(row.held, row.shared);
        ASSERT_EQ(other.read_line(), "open");
        EXPECT_EQ(error_of_opening(row.wanted, row.sharing), row.error)
            << std::hex << row.held << "/" << row.shared << " against " << row.wanted << "/"
            << row.sharing;
        other.kill();
        EXPECT_EQ(error_of_opening(row.wanted, 0), 0u) << "a killed holder holds nothing";
    }
}

TEST_F(SharedFile, CannotBeRemovedMovedOrReplacedWhileAnotherProcessHasIt)
{
    const test::Wide other_path = test::windows_form(m_folder + "/other");
    CloseHandle(open_file(other_path, GENERIC_WRITE, 0, CREATE_NEW));
    test::Process other = holder(GENERIC_READ, 3);
    ASSERT_EQ(other.read_line(), "open");
    EXPECT_FALSE(DeleteFileW(m_path));
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    EXPECT_FALSE(MoveFileExW(m_path, test::windows_form(m_folder + "/moved"), 0));
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    EXPECT_FALSE(MoveFileExW(other_path, m_path, MOVEFILE_REPLACE_EXISTING));
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    other.kill();
    EXPECT_TRUE(DeleteFileW(m_path));
}

TEST_F(SharedFile, IsNotCutByAnOpenThatItsHolderDenies)
{
    test::write_file(m_folder + "/file", "content");
    test::Process other = holder(GENERIC_READ, FILE_SHARE_READ);
    ASSERT_EQ(other.read_line(), "open");
    EXPECT_EQ(open_file(m_path, GENERIC_READ, 3, CREATE_ALWAYS), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(open_file(m_path, 0, 3, CREATE_ALWAYS), INVALID_HANDLE_VALUE);
    EXPECT_EQ(test::read_file(m_folder + "/file"), "content");
    other.kill();
    const HANDLE file = open_file(m_path, GENERIC_READ, 3, CREATE_ALWAYS);
    EXPECT_NE(file, INVALID_HANDLE_VALUE);
    CloseHandle(file);
    EXPECT_EQ(test::read_file(m_folder + "/file"), "");
}

TEST_F(SharedFile, IsNotDeniedByAnOpenForNoAccess)
{
    test::write_file(m_folder + "/file", "content");
    const HANDLE looking = open_file(m_path, 0, 0, OPEN_EXISTING);
    ASSERT_NE(looking, INVALID_HANDLE_VALUE);
    EXPECT_EQ(error_of_opening(GENERIC_READ | GENERIC_WRITE, 0), 0u);
    const HANDLE alone = open_file(m_path, GENERIC_READ, 0, OPEN_EXISTING);
    EXPECT_EQ(error_of_opening(0, 0), 0u);
    EXPECT_EQ(GetFileSize(looking, nullptr), 7u);
    CloseHandle(looking);
    CloseHandle(alone);
}

TEST_F(SharedFile, IsNotDeletedUnderAConcurrentOpen)
{
    expect_a_name_for_each(
        [this](auto look)
        {
            const HANDLE file = open_file(m_path, GENERIC_READ | FILE_APPEND_DATA, 3, OPEN_ALWAYS);
            if (file == INVALID_HANDLE_VALUE)
                return false;
            look();
            CloseHandle(file);
            return true;
        });
}

TEST_F(SharedFile, IsNotDeletedUnderAConcurrentOpenAsAStream)
{
    expect_a_name_for_each(
        [this](auto look)
        {
            FILE* const stream = _wfopen(m_path, L"ab");
            if (!stream)
                return false;
            look();
            std::fclose(stream);
            return true;
        });
}

TEST_F(SharedFile, HasByteRangesThatOnlyOneProcessLocks)
{
    test::Process other = holder(GENERIC_READ | GENERIC_WRITE, 3, "lock");
    ASSERT_EQ(other.read_line(), "open");
    const HANDLE file = open_file(m_path, GENERIC_READ | GENERIC_WRITE, 3, OPEN_EXISTING);
    EXPECT_FALSE(LockFile(file, 109, 0, 1, 0));
    EXPECT_EQ(GetLastError(), ERROR_LOCK_VIOLATION);
    EXPECT_TRUE(LockFile(file, 110, 0, 1, 0));
    EXPECT_FALSE(UnlockFile(file, 100, 0, 10, 0));
    EXPECT_EQ(GetLastError(), ERROR_NOT_LOCKED);
    other.kill();
    EXPECT_TRUE(LockFile(file, 100, 0, 10, 0));
    CloseHandle(file);
}

TEST_F(SharedFile, ThatIsReadOnlyIsSoForEverybody)
{
    test::write_file(m_folder + "/file", "content");
    ASSERT_TRUE(SetFileAttributesW(m_path, FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(error_of_opening(GENERIC_WRITE, 3), ERROR_ACCESS_DENIED);
    EXPECT_EQ(open_file(m_path, GENERIC_WRITE, 3, CREATE_ALWAYS), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_FALSE(DeleteFileW(m_path));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(error_of_opening(GENERIC_READ, 3), 0u);
    EXPECT_EQ(test::read_file(m_folder + "/file"), "content");
}

TEST_F(SharedFile, TellsByTheLastErrorWhetherItWasThere)
{
    CloseHandle(open_file(m_path, GENERIC_WRITE, 0, OPEN_ALWAYS));
    for (const DWORD disposition : {OPEN_ALWAYS, CREATE_ALWAYS})
    {
        const HANDLE file = open_file(m_path, GENERIC_WRITE, 0, disposition);
        EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
        CloseHandle(file);
    }
    EXPECT_EQ(open_file(m_path, GENERIC_WRITE, 0, CREATE_NEW), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_FILE_EXISTS);
    EXPECT_EQ(open_file(test::windows_form(m_folder + "/none/x"), GENERIC_READ, 0, OPEN_EXISTING),
              INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(open_file(test::windows_form(m_folder + "/none"), GENERIC_READ, 0, OPEN_EXISTING),
              INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

} // namespace
