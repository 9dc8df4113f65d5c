// Share modes, locks and removal between processes; copying, moving and deleting by name: what is
// kept, what is deleted, and what prevents it; mappings, and the room allocated to a file.

#include <sys/stat.h>

#include "support/test.h"

#include <tchar.h>

#include "support/child_process.h"
#include "support/entries.h"
#include "support/environment.h"
#include "support/handles.h"
#include "support/soak.h"

namespace fs = std::filesystem;

namespace
{

using test::ChildProcess;
using test::error_of;
using test::Handle;

// Opens a file with the given access, reports it, and holds the file until it is killed.
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
    // Another process deletes the file again and again. open makes the file if it is missing, calls
    // its argument while it has the file open, and returns whether it could open it.
    template <class Open> void expect_a_name_for_each(Open open) const
    {
        ChildProcess other("delete-file", {m_path.utf8()});
        ASSERT_EQ(other.line(), "ready");
        int lost = 0;
        int opened = 0;
        const auto look = [&] { lost += !fs::exists(m_native); };
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

TEST_F(SharedFile, IsNotCutRemovedMovedOrReplacedWhileAnotherProcessHasIt)
{
    const test::Wide other_path = test::windows_form(m_folder + "/other");
    test::write_file(m_folder + "/other", "");
    test::write_file(m_native, "content");
    Holder other(*this, GENERIC_READ, FILE_SHARE_READ);
    EXPECT_EQ(error_of(MoveFileExW(other_path, m_path, MOVEFILE_REPLACE_EXISTING)),
              ERROR_ACCESS_DENIED);
    for (const DWORD error :
         {error_of(DeleteFileW(m_path)),
          error_of(MoveFileExW(m_path, test::windows_form(m_folder + "/moved"), 0)),
          error_of_opening(GENERIC_READ, 3, CREATE_ALWAYS), error_of_opening(0, 3, CREATE_ALWAYS)})
        EXPECT_EQ(error, ERROR_SHARING_VIOLATION);
    EXPECT_EQ(test::read_file(m_native), "content");
    other.finish(SIGKILL);
    EXPECT_EQ(error_of_opening(GENERIC_READ, 3, CREATE_ALWAYS), 0u);
    EXPECT_EQ(test::read_file(m_native), "");
    EXPECT_TRUE(DeleteFileW(m_path));
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
}

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
    // A multiple of 100 ns, the unit of the interface.
    const auto written = std::chrono::floor<std::chrono::microseconds>(
        fs::last_write_time(native("a")) - std::chrono::seconds(100));
    fs::last_write_time(native("a"), written);
    ASSERT_TRUE(SetFileAttributesW(path("a"), FILE_ATTRIBUTE_READONLY));
    ASSERT_EQ(copy("a", "b"), 0u);
    EXPECT_EQ(fs::last_write_time(native("b")), written);
    EXPECT_EQ(GetFileAttributesW(path("b")), DWORD{FILE_ATTRIBUTE_READONLY});
    make("c", "c");
    EXPECT_EQ(copy("c", "b"), ERROR_ACCESS_DENIED) << "onto a read-only file";
    EXPECT_EQ(content("b"), "content");
    // A file that reports no size is copied whole.
    ASSERT_TRUE(CopyFileW(L"C:\\proc\\self\\maps", path("maps"), FALSE)) << GetLastError();
    EXPECT_NE(content("maps").find("[stack]"), std::string::npos);
}

TEST_F(CopyMove, RefusalsHaveTheSystemsNumbers)
{
    make("a", "A");
    make("b", "B");
    fs::create_directory(native("folder"));
    using Errors = std::vector<DWORD>;
    EXPECT_EQ(Errors({copy("none", "c"), move("none", "c"), move("none", "b", 0), remove("none")}),
              Errors(4, ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(Errors({copy("a", "none/c"), move("a", "none/c"), remove("none/none")}),
              Errors(3, ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(Errors({copy("a", "folder"), move("a", "folder"), remove("folder")}),
              Errors(3, ERROR_ACCESS_DENIED));
    EXPECT_EQ(copy("a", "b", true), ERROR_FILE_EXISTS);
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

TEST_F(CopyMove, AFileMovesOntoAFurtherNameOfItself)
{
    fs::create_directory(native("folder"));
    make("a", "x");
    for (const char* other : {"b", "folder/a"})
    {
        fs::create_hard_link(native("a"), native(other));
        EXPECT_EQ(move("a", "a"), 0u);
        EXPECT_EQ(move("a", "a", 0), 0u);
        EXPECT_EQ(move("a", other, 0), ERROR_ALREADY_EXISTS);
        EXPECT_EQ(content("a"), "x");
        EXPECT_EQ(move("a", other), 0u);
        EXPECT_FALSE(fs::exists(native("a")));
        EXPECT_EQ(content(other), "x");
        fs::rename(native(other), native("a"));
    }
}

TEST_F(CopyMove, ALinkGoesByItselfButACopyOntoItWritesWhatItPointsAt)
{
    fs::create_directory(native("elsewhere"));
    make("elsewhere/target", "old");
    make("new", "new");
    fs::create_symlink("elsewhere/target", native("link"));
    EXPECT_EQ(copy("new", "link"), 0u);
    EXPECT_TRUE(fs::is_symlink(native("link")));
    EXPECT_EQ(copy("elsewhere/target", "link"), ERROR_SHARING_VIOLATION) << "itself";
    EXPECT_EQ(content("elsewhere/target"), "new");
    const test::Handle held = hold("elsewhere/target", GENERIC_READ, FILE_SHARE_READ);
    EXPECT_EQ(move("link", "moved", 0), 0u);
    EXPECT_EQ(remove("moved"), 0u);
    EXPECT_EQ(content("elsewhere/target"), "new");
    EXPECT_EQ(entries(), 2u);
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
    // Without the kernel's copy call, in pieces: the second write is cut, and its rest finds no
    // room.
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

TEST_F(CopyMove, AHeldFileIsNeitherOverwrittenNorLostByACopy)
{
    make("a", "A");
    make("b", "B");
    test::Handle held = hold("b", GENERIC_WRITE, FILE_SHARE_READ);
    ASSERT_TRUE(held);
    EXPECT_EQ(copy("a", "b"), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(copy("b", "c"), 0u) << "its holder shares reading";
    held.close();
    const test::Handle alone = hold("b", GENERIC_READ, 0);
    EXPECT_EQ(copy("b", "d"), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(content("b") + content("c"), "BB");
}

class FileMapping : public testing::Test
{
protected:
    FileMapping() { test::write_file(m_native, std::string(100'000, 'x')); }
    ~FileMapping() override { PlinthTestReset(); }
    Handle open(DWORD access) const { return Handle(test::open_file(m_path, access)); }
    static Handle mapping(HANDLE file, DWORD protection, DWORD size = 0)
    {
        return Handle(CreateFileMappingW(file, nullptr, protection, 0, size, nullptr));
    }
    static DWORD set_room(HANDLE file, LONGLONG bytes)
    {
        FILE_ALLOCATION_INFO room;
        room.AllocationSize.QuadPart = bytes;
        return error_of(SetFileInformationByHandle(file, FileAllocationInfo, &room, sizeof room));
    }
    uint64_t size() const { return fs::file_size(m_native); }
    const std::string m_native = test::make_folder("mapping") + "/file";
    const test::Wide m_path = test::windows_form(m_native);
};

TEST_F(FileMapping, GrowsTheFileOnlyForWritingAndOnlyIfTheDiskHasRoom)
{
    const Handle reader = open(GENERIC_READ);
    EXPECT_EQ(mapping(reader, PAGE_READONLY, 100'001).error(), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(mapping(reader, PAGE_READWRITE).error(), ERROR_ACCESS_DENIED);
    const Handle file = open(GENERIC_READ | GENERIC_WRITE);
    // Mapped room that the disk doesn't have would end the process at the first write to it.
    PlinthTestFail("fallocate", 1, 1, ENOSPC);
    EXPECT_EQ(mapping(file, PAGE_READWRITE, 200'000).error(), ERROR_DISK_FULL);
    EXPECT_EQ(size(), 100'000u);
    PlinthTestReset();
    // If the file system can't reserve room, the file grows nevertheless.
    PlinthTestFail("fallocate", 1, 1, EOPNOTSUPP);
    for (const DWORD more : {200'000u, 300'000u})
    {
        ASSERT_TRUE(mapping(file, PAGE_READWRITE, more));
        EXPECT_EQ(size(), more);
    }
}

TEST_F(FileMapping, UnmapsOnlyWholeViewsAndEachOnce)
{
    Handle reading = mapping(open(GENERIC_READ), PAGE_READONLY);
    char* const view = static_cast<char*>(MapViewOfFile(reading, FILE_MAP_READ, 0, 65'536, 0));
    ASSERT_NE(view, nullptr);
    EXPECT_TRUE(DeleteFileW(m_path)) << "the handle of the file is closed";
    EXPECT_TRUE(reading.close());
    EXPECT_EQ(view[100'000 - 65'536 - 1], 'x') << "a view outlives its mapping and the file's name";
    EXPECT_EQ(error_of(UnmapViewOfFile(view + 4096)), ERROR_INVALID_ADDRESS);
    EXPECT_TRUE(UnmapViewOfFile(view));
    EXPECT_FALSE(UnmapViewOfFile(view));
}

using FileRoom = FileMapping;

TEST_F(FileRoom, IsReservedBehindTheEndWithoutMovingItAndCutsWhatIsBeyond)
{
    const Handle file = open(GENERIC_READ | GENERIC_WRITE);
    FILE_ALLOCATION_INFO room = {};
    EXPECT_EQ(error_of(SetFileInformationByHandle(file, FileAllocationInfo, &room, 4)),
              ERROR_BAD_LENGTH);
    EXPECT_EQ(set_room(open(GENERIC_READ), 0), ERROR_ACCESS_DENIED);
    EXPECT_EQ(size(), 100'000u) << "what is refused changes nothing";
    EXPECT_EQ(set_room(file, 1 << 20), 0u);
    EXPECT_EQ(size(), 100'000u);
    struct stat found = {};
    stat(m_native.c_str(), &found);
    EXPECT_GE(found.st_blocks * 512, 1 << 20);
    EXPECT_EQ(set_room(file, 4), 0u);
    EXPECT_EQ(test::read_file(m_native), "xxxx");
}

} // namespace
