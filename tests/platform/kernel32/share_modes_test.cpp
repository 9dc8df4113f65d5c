// Share modes, locks and removal between processes.
#include <cstdio>
#include <filesystem>

#include <gtest/gtest.h>

#include <tchar.h>
#include <windows.h>

#include "support/child_process.h"
#include "support/environment.h"
#include "support/handles.h"
#include "support/soak.h"

namespace
{

using test::ChildProcess;
using test::error_of;
using test::Handle;

// Opens a file as told, says so, and holds it until it is killed.
int hold_file(int, char** argv)
{
    const Handle file(test::open_file(test::Wide(argv[0]), static_cast<DWORD>(std::stoul(argv[1])),
                                      static_cast<DWORD>(std::stoul(argv[2])), OPEN_ALWAYS));
    if (file && argv[3][0] == 'l')
        LockFile(file, 100, 0, 10, 0);
    test::say(file ? "open" : "refused");
    test::hear();
    return 0;
}
const test::ChildMain hold_file_main("hold-file", hold_file);

// Deletes the file again and again until it is killed.
int delete_file(int, char** argv)
{
    const test::Wide path(argv[0]);
    test::say("ready");
    for (;;)
        DeleteFileW(path);
}
const test::ChildMain delete_file_main("delete-file", delete_file);

class SharedFile : public testing::Test
{
protected:
    struct Holder : ChildProcess
    {
        Holder(const SharedFile& file, DWORD access, DWORD share, const char* lock = "-")
            : ChildProcess("hold-file", {file.m_path.utf8(), std::to_string(access),
                                         std::to_string(share), lock})
        {
            EXPECT_EQ(line(), "open");
        }
    };
    HANDLE open(DWORD access, DWORD share = 3, DWORD disposition = OPEN_EXISTING) const
    {
        return test::open_file(m_path, access, share, disposition);
    }
    DWORD error_of_opening(DWORD access, DWORD share = 3, DWORD disposition = OPEN_EXISTING) const
    {
        return error_of(HANDLE{Handle(open(access, share, disposition))});
    }
    // While another process deletes the file again and again: open makes it where it is missing,
    // calls what it is given while it has it open, and tells whether it got it.
    template <class Open> void expect_a_name_for_each(Open open) const
    {
        ChildProcess other("delete-file", {m_path.utf8()});
        ASSERT_EQ(other.line(), "ready");
        int lost = 0;
        int opened = 0;
        const auto look = [&] { lost += !std::filesystem::exists(m_native); };
        const test::SoakTime soak;
        do
            for (int i = 0; i < 5000; ++i)
                opened += open(look);
        while (soak.goes_on());
        soak.report("opens", static_cast<uint64_t>(opened));
        EXPECT_EQ(lost, 0) << "of " << opened;
        EXPECT_GT(opened, 1000);
    }
    const std::string m_folder = test::make_folder("share");
    const std::string m_native = m_folder + "/file";
    const test::Wide m_path = test::windows_form(m_native);
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
        {GENERIC_WRITE, FILE_SHARE_READ, FILE_APPEND_DATA, 3, ERROR_SHARING_VIOLATION}};
    for (const auto& row : rows)
    {
        Holder other(*this, row.held, row.shared);
        EXPECT_EQ(error_of_opening(row.wanted, row.sharing), row.error)
            << std::hex << row.held << "/" << row.shared << " against " << row.wanted << "/"
            << row.sharing;
        other.finish(SIGKILL);
        EXPECT_EQ(error_of_opening(row.wanted, 0), 0u) << "a killed holder holds nothing";
    }
}

TEST_F(SharedFile, CannotBeRemovedMovedOrReplacedWhileAnotherProcessHasIt)
{
    const test::Wide other_path = test::windows_form(m_folder + "/other");
    test::write_file(m_folder + "/other", "");
    Holder other(*this, GENERIC_READ, 3);
    for (const DWORD error :
         {error_of(DeleteFileW(m_path)),
          error_of(MoveFileExW(m_path, test::windows_form(m_folder + "/moved"), 0)),
          error_of(MoveFileExW(other_path, m_path, MOVEFILE_REPLACE_EXISTING))})
        EXPECT_EQ(error, ERROR_SHARING_VIOLATION);
    other.finish(SIGKILL);
    EXPECT_TRUE(DeleteFileW(m_path));
}

TEST_F(SharedFile, IsNotCutByAnOpenThatItsHolderDenies)
{
    test::write_file(m_native, "content");
    Holder other(*this, GENERIC_READ, FILE_SHARE_READ);
    for (const DWORD access : {GENERIC_READ, 0u})
        EXPECT_EQ(error_of_opening(access, 3, CREATE_ALWAYS), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(test::read_file(m_native), "content");
    other.finish(SIGKILL);
    EXPECT_EQ(error_of_opening(GENERIC_READ, 3, CREATE_ALWAYS), 0u);
    EXPECT_EQ(test::read_file(m_native), "");
}

TEST_F(SharedFile, IsNotDeniedByAnOpenForNoAccess)
{
    test::write_file(m_native, "content");
    const Handle looking(open(0, 0));
    ASSERT_TRUE(looking);
    EXPECT_EQ(error_of_opening(GENERIC_READ | GENERIC_WRITE, 0), 0u);
    const Handle alone(open(GENERIC_READ, 0));
    EXPECT_EQ(error_of_opening(0, 0), 0u);
    EXPECT_EQ(GetFileSize(looking, nullptr), 7u);
}

TEST_F(SharedFile, IsNotDeletedUnderAConcurrentOpen)
{
    expect_a_name_for_each(
        [this](auto look)
        {
            const Handle file(open(GENERIC_READ | FILE_APPEND_DATA, 3, OPEN_ALWAYS));
            if (file)
                look();
            return static_cast<bool>(file);
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
    Holder other(*this, GENERIC_READ | GENERIC_WRITE, 3, "lock");
    const Handle file(open(GENERIC_READ | GENERIC_WRITE));
    EXPECT_EQ(error_of(LockFile(file, 109, 0, 1, 0)), ERROR_LOCK_VIOLATION);
    EXPECT_EQ(error_of(LockFile(file, 110, 0, 1, 0)), 0u);
    EXPECT_EQ(error_of(UnlockFile(file, 100, 0, 10, 0)), ERROR_NOT_LOCKED);
    other.finish(SIGKILL);
    EXPECT_EQ(error_of(LockFile(file, 100, 0, 10, 0)), 0u);
}

TEST_F(SharedFile, ThatIsReadOnlyIsSoForEverybody)
{
    test::write_file(m_native, "content");
    ASSERT_TRUE(SetFileAttributesW(m_path, FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(error_of_opening(GENERIC_WRITE), ERROR_ACCESS_DENIED);
    EXPECT_EQ(error_of_opening(GENERIC_WRITE, 3, CREATE_ALWAYS), ERROR_ACCESS_DENIED);
    EXPECT_EQ(error_of(DeleteFileW(m_path)), ERROR_ACCESS_DENIED);
    EXPECT_EQ(error_of_opening(GENERIC_READ), 0u);
    EXPECT_EQ(test::read_file(m_native), "content");
}

TEST_F(SharedFile, TellsByTheLastErrorWhetherItWasThere)
{
    for (const auto& [disposition, error] :
         {std::pair{OPEN_ALWAYS, ERROR_SUCCESS}, std::pair{OPEN_ALWAYS, ERROR_ALREADY_EXISTS},
          std::pair{CREATE_ALWAYS, ERROR_ALREADY_EXISTS}})
        EXPECT_EQ(Handle(open(GENERIC_WRITE, 0, disposition)).error(), error) << disposition;
    EXPECT_EQ(error_of_opening(GENERIC_WRITE, 0, CREATE_NEW), ERROR_FILE_EXISTS);
    const auto error_of_missing = [this](const char* name)
    { return error_of(test::open_file(test::windows_form(m_folder + name), GENERIC_READ)); };
    EXPECT_EQ(error_of_missing("/none/x"), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(error_of_missing("/none"), ERROR_FILE_NOT_FOUND);
}

} // namespace
