// The answers of the file calls: each row is one call and the error that the system reports for it,
// 0 for none.

#include <cstring>

#include "support/test.h"

#include <tchar.h>

#include "support/environment.h"
#include "support/handles.h"

namespace fs = std::filesystem;

namespace
{

using test::error_of;
using test::Handle;

struct Rule
{
    const char* call;
    DWORD error, expected;
};

void check(std::initializer_list<Rule> rules)
{
    for (const Rule& rule : rules)
        EXPECT_EQ(rule.error, rule.expected) << rule.call;
}

class FileRules : public testing::Test
{
protected:
    FileRules()
    {
        fs::create_directory(native("sub"));
        for (const char* name : {"file", "other", "na:b", "sub/inner"})
            test::write_file(native(name), "content");
        fs::current_path(native(""));
    }
    ~FileRules() override { fs::current_path("/"); }
    std::string native(const std::string& name) const { return m_folder + "/" + name; }
    test::Wide path(const std::string& name) const { return test::windows_form(native(name)); }
    static DWORD open(const wchar_t* name, DWORD disposition = OPEN_EXISTING,
                      DWORD access = GENERIC_READ | GENERIC_WRITE)
    {
        return error_of(HANDLE{Handle(test::open_file(name, access, 3, disposition))});
    }
    static DWORD move(const wchar_t* from, const wchar_t* to,
                      DWORD flags = MOVEFILE_REPLACE_EXISTING)
    {
        return error_of(MoveFileExW(from, to, flags));
    }
    static DWORD search(const wchar_t* pattern, std::string* name = nullptr)
    {
        WIN32_FIND_DATAW data = {};
        const HANDLE found = FindFirstFileW(pattern, &data);
        const DWORD error = error_of(found);
        if (name)
            *name = test::utf8(data.cFileName);
        if (!error)
            FindClose(found);
        return error;
    }
    static DWORD attributes(const wchar_t* name)
    {
        return error_of(GetFileAttributesW(name) != INVALID_FILE_ATTRIBUTES);
    }
    const std::string m_folder = test::make_folder("rules");
};

TEST_F(FileRules, NoFileIsMadeUnderANameThatCannotBe)
{
    for (const wchar_t* const bad :
         {L"a<b", L"a>b", L"a|b", L"a\"b", L"a\x1f", L"nx:y", L"::", L"sub\\x*", L"x?\\y"})
    {
        SCOPED_TRACE(test::utf8(bad));
        check({{"open", open(bad, OPEN_ALWAYS), ERROR_INVALID_NAME},
               {"folder", error_of(CreateDirectoryW(bad, nullptr)), ERROR_INVALID_NAME},
               {"move", move(L"file", bad), ERROR_INVALID_NAME},
               {"copy", error_of(CopyFileW(L"file", bad, FALSE)), ERROR_INVALID_NAME},
               {"delete", error_of(DeleteFileW(bad)), ERROR_INVALID_NAME},
               {"attributes", attributes(bad), ERROR_INVALID_NAME}});
    }
    check({{"a name of 256 characters", open(test::Wide(256, L'x'), OPEN_ALWAYS), 123},
           {"of 255", open(test::Wide(255, L'x'), OPEN_ALWAYS), 0},
           {"what is taken out of a path", open(L"a<b\\..\\file"), 0},
           {"what another program has made", open(L"na:b"), 0},
           {"search for it", search(L"na:b"), 0},
           {"search for a mask that no name has", search(L"a|*"), ERROR_INVALID_NAME},
           {"search for a name that can't be", search(L"x|y"), ERROR_INVALID_NAME}});
}

TEST_F(FileRules, ASeparatorBehindAFileMakesItsNameWrong)
{
    check({{"delete", error_of(DeleteFileW(L"file\\")), ERROR_INVALID_NAME},
           {"open", open(L"file\\"), ERROR_INVALID_NAME},
           {"make", open(L"new\\", OPEN_ALWAYS), ERROR_INVALID_NAME},
           {"move", move(L"file\\", L"new"), ERROR_INVALID_NAME},
           {"move to", move(L"file", L"new\\"), ERROR_INVALID_NAME},
           {"attributes", attributes(L"file\\"), ERROR_INVALID_NAME},
           {"attributes of a folder", attributes(L"sub\\"), 0},
           {"attributes below a file", attributes(L"file\\x"), ERROR_PATH_NOT_FOUND},
           {"the same with a separator", attributes(L"file\\x\\"), ERROR_PATH_NOT_FOUND},
           {"current folder", error_of(SetCurrentDirectoryW(L"file")), ERROR_DIRECTORY},
           {"current folder below", error_of(SetCurrentDirectoryW(L"file\\x")), 3},
           {"search below", search(L"file\\*"), ERROR_DIRECTORY},
           {"search further below", search(L"file\\x\\*"), ERROR_PATH_NOT_FOUND},
           {"remove as a folder", error_of(RemoveDirectoryW(L"file")), ERROR_DIRECTORY},
           {"space", error_of(GetDiskFreeSpaceExW(L"file", nullptr, nullptr, nullptr)), 267}});
}

TEST_F(FileRules, MovesAreRefusedAsTheSystemDoes)
{
    ASSERT_TRUE(SetFileAttributesW(L"other", FILE_ATTRIBUTE_READONLY));
    check({{"folder onto itself", move(L"sub", L"sub"), 0},
           {"read-only file onto itself", move(L"other", L"other"), 0},
           {"onto a read-only file", move(L"file", L"other"), ERROR_ACCESS_DENIED},
           {"folder over a file", move(L"sub", L"file"), ERROR_ACCESS_DENIED},
           {"folder over a file, not replacing", move(L"sub", L"file", 0), ERROR_ALREADY_EXISTS},
           {"file over a folder", move(L"file", L"sub"), ERROR_ACCESS_DENIED}});
    const Handle held(test::open_file(L"sub\\inner", GENERIC_READ));
    check({{"onto an open target", move(L"file", L"sub\\inner"), ERROR_ACCESS_DENIED},
           {"of an open source", move(L"sub\\inner", L"new"), ERROR_SHARING_VIOLATION},
           {"copy onto it", error_of(CopyFileW(L"file", L"sub\\inner", FALSE)), 32}});
}

TEST_F(FileRules, TheCurrentFolderStays)
{
    fs::create_directory(native("here"));
    ASSERT_TRUE(SetCurrentDirectoryW(path("here")));
    check({{"remove", error_of(RemoveDirectoryW(path("here"))), ERROR_SHARING_VIOLATION},
           {"move", move(path("here"), path("there")), ERROR_SHARING_VIOLATION},
           {"move, not replacing", move(path("here"), path("there"), 0), 32}});
    std::string name;
    EXPECT_EQ(search(L"..\\sub\\..\\here\\.", &name), 0u);
    EXPECT_EQ(name, "here") << "'.' is found by its name";
    EXPECT_EQ(search(L"..\\sub\\..\\sub\\inner\\..", &name), 0u);
    EXPECT_EQ(name, "sub");
    EXPECT_EQ(search(L"C:\\..", &name), ERROR_FILE_NOT_FOUND) << "the root has no name";
    ASSERT_TRUE(SetCurrentDirectoryW(L".."));
    EXPECT_TRUE(RemoveDirectoryW(L"here"));
}

TEST_F(FileRules, AMappedFileIsNotShortened)
{
    const auto cut = [](HANDLE file, LONG size)
    {
        SetFilePointer(file, size, nullptr, FILE_BEGIN);
        return error_of(SetEndOfFile(file));
    };
    Handle file(test::open_file(L"file", GENERIC_READ | GENERIC_WRITE));
    Handle mapping(CreateFileMappingW(file, nullptr, PAGE_READONLY, 0, 0, nullptr));
    EXPECT_EQ(cut(file, 3), ERROR_USER_MAPPED_FILE) << "a mapping without a view";
    void* const view = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0);
    ASSERT_TRUE(view && mapping.close());
    FILE_ALLOCATION_INFO room = {};
    check({{"cut", cut(file, 3), ERROR_USER_MAPPED_FILE},
           {"cut its room",
            error_of(SetFileInformationByHandle(file, FileAllocationInfo, &room, sizeof room)),
            ERROR_USER_MAPPED_FILE},
           {"its own size", cut(file, 7), 0},
           {"a larger size", cut(file, 70), 0}});
    file.close();
    check({{"create anew", open(L"file", CREATE_ALWAYS), ERROR_USER_MAPPED_FILE},
           {"truncate", open(L"file", TRUNCATE_EXISTING), ERROR_USER_MAPPED_FILE},
           {"copy onto it", error_of(CopyFileW(L"other", L"file", FALSE)), 1224}});
    EXPECT_EQ(_wfopen(L"file", L"wb"), nullptr);
    EXPECT_EQ(*static_cast<const char*>(view), 'c');
    EXPECT_TRUE(UnmapViewOfFile(view));
    EXPECT_EQ(open(L"file", TRUNCATE_EXISTING), 0u);
}

TEST_F(FileRules, HandlesAndRangesHaveTheirLimits)
{
    const Handle cutter(test::open_file(L"file", 0, 0, CREATE_ALWAYS));
    const Handle file(test::open_file(L"file", GENERIC_READ | GENERIC_WRITE, 0));
    EXPECT_TRUE(file) << "who only cut the file has no share of it";
    EXPECT_EQ(error_of(LockFile(file, 2, 0, 0xFFFFFFFF, 0xFFFFFFFF)), ERROR_INVALID_LOCK_RANGE);
    EXPECT_EQ(error_of(LockFile(file, 2, 0, 0xFFFFFFFD, 0xFFFFFFFF)), 0u);
    WIN32_FIND_DATAW data;
    const HANDLE found = FindFirstFileW(L"*", &data);
    check({{"close a search", error_of(CloseHandle(found)), ERROR_INVALID_HANDLE},
           {"map null", error_of(CreateFileMappingW(nullptr, nullptr, 2, 0, 0, nullptr)), 6},
           {"map a search", error_of(CreateFileMappingW(found, nullptr, 2, 0, 0, nullptr)), 6},
           {"map with a wrong word", error_of(CreateFileMappingW(file, nullptr, 3, 0, 0, nullptr)),
            ERROR_INVALID_PARAMETER}});
    EXPECT_TRUE(FindClose(found));
}

TEST_F(FileRules, EveryCallRefusesWhatIsNoHandleOrHasNotTheAccess)
{
    Handle reader(test::open_file(L"file", GENERIC_READ));
    const Handle writer(test::open_file(L"other", GENERIC_WRITE));
    const Handle event = test::new_event();
    WIN32_FIND_DATAW data;
    const HANDLE search = FindFirstFileW(L"*", &data);
    const HANDLE stale = HANDLE{Handle(test::open_file(L"file", GENERIC_READ))};
    char byte = 'x';
    DWORD done = 0;
    FILETIME time = {0, 0x01000000}; // in 1828
    const auto seeks = [](HANDLE file, LONG to, DWORD method)
    { return error_of(SetFilePointer(file, to, nullptr, method) != INVALID_SET_FILE_POINTER); };
    for (const HANDLE bad : {stale, search, HANDLE{event}, HANDLE{nullptr}, INVALID_HANDLE_VALUE})
    {
        SCOPED_TRACE(bad);
        check({{"read", error_of(ReadFile(bad, &byte, 1, &done, nullptr)), ERROR_INVALID_HANDLE},
               {"write", error_of(WriteFile(bad, &byte, 1, &done, nullptr)), ERROR_INVALID_HANDLE},
               {"seek", seeks(bad, 0, FILE_BEGIN), ERROR_INVALID_HANDLE},
               {"size", error_of(GetFileSize(bad, nullptr) != INVALID_FILE_SIZE), 6},
               {"cut", error_of(SetEndOfFile(bad)), ERROR_INVALID_HANDLE},
               {"flush", error_of(FlushFileBuffers(bad)), ERROR_INVALID_HANDLE},
               {"lock", error_of(LockFile(bad, 0, 0, 1, 0)), ERROR_INVALID_HANDLE},
               {"unlock", error_of(UnlockFile(bad, 0, 0, 1, 0)), ERROR_INVALID_HANDLE},
               {"times", error_of(GetFileTime(bad, &time, nullptr, nullptr)), 6},
               {"set times", error_of(SetFileTime(bad, nullptr, nullptr, nullptr)), 6},
               {"view", error_of(MapViewOfFile(bad, FILE_MAP_READ, 0, 0, 0)), 6},
               {"resource", error_of(UpdateResourceW(bad, L"A", L"B", 0, nullptr, 0)), 6},
               {"end update", error_of(EndUpdateResourceW(bad, TRUE)), ERROR_INVALID_HANDLE}});
    }
    check({{"write to a reader", error_of(WriteFile(reader, &byte, 1, &done, nullptr)), 5},
           {"read from a writer", error_of(ReadFile(writer, &byte, 1, &done, nullptr)), 5},
           {"cut", error_of(SetEndOfFile(reader)), ERROR_ACCESS_DENIED},
           {"flush", error_of(FlushFileBuffers(reader)), ERROR_ACCESS_DENIED},
           {"set times", error_of(SetFileTime(reader, nullptr, nullptr, &time)), 5},
           {"read to null", error_of(ReadFile(reader, nullptr, 1, &done, nullptr)), 998},
           {"seek before the start", seeks(reader, -1, FILE_BEGIN), ERROR_NEGATIVE_SEEK},
           {"seek by no method", seeks(reader, 0, 3), ERROR_INVALID_PARAMETER},
           {"view of a mapping at 1",
            error_of(MapViewOfFile(
                Handle(CreateFileMappingW(reader, nullptr, PAGE_READONLY, 0, 0, nullptr)),
                FILE_MAP_READ, 0, 1, 0)),
            ERROR_MAPPED_ALIGNMENT},
           {"unmap nothing", error_of(UnmapViewOfFile(&byte)), ERROR_INVALID_ADDRESS}});
    EXPECT_TRUE(FindClose(search));
}

TEST_F(FileRules, TimesThatMeanNoChangeChangeNothing)
{
    const Handle file(test::open_file(L"file", GENERIC_READ | GENERIC_WRITE));
    FILETIME before = {}, after = {}, creation = {};
    const FILETIME all_ones = {0xFFFFFFFF, 0xFFFFFFFF}; // the handle doesn't update the time
    const FILETIME zero = {}, beyond = {0, 0x80000000};
    ASSERT_TRUE(GetFileTime(file, &creation, nullptr, &before));
    check({{"nulls", error_of(SetFileTime(file, nullptr, nullptr, nullptr)), 0},
           {"all ones", error_of(SetFileTime(file, &all_ones, &all_ones, &all_ones)), 0},
           {"zero", error_of(SetFileTime(file, &zero, &zero, &zero)), 0},
           {"beyond", error_of(SetFileTime(file, nullptr, nullptr, &beyond)), 87},
           {"creation beyond", error_of(SetFileTime(file, &beyond, nullptr, nullptr)), 87}});
    FILETIME still = {};
    ASSERT_TRUE(GetFileTime(file, &still, nullptr, &after));
    EXPECT_EQ(std::memcmp(&before, &after, sizeof after), 0);
    EXPECT_EQ(std::memcmp(&creation, &still, sizeof still), 0);
}

TEST_F(FileRules, VolumesAreNamedByTheirRoots)
{
    wchar_t text[8];
    const auto volume = [&](const wchar_t* root, wchar_t* name, DWORD size)
    {
        return error_of(
            GetVolumeInformationW(root, name, size, nullptr, nullptr, nullptr, nullptr, 0));
    };
    check({{"root", volume(L"C:\\", text, 8), 0},
           {"current folder's", volume(nullptr, nullptr, 0), 0},
           {"mounted", volume(L"C:\\proc\\", text, 8), 0},
           {"no separator", volume(L"C:", text, 8), ERROR_INVALID_NAME},
           {"no root", volume(path("sub\\"), text, 8), ERROR_DIR_NOT_ROOT},
           {"no room", volume(L"C:\\", text, 0), ERROR_BAD_LENGTH}});
    EXPECT_EQ(GetDriveTypeW(path("sub\\")), UINT{DRIVE_NO_ROOT_DIR});
    EXPECT_EQ(GetDriveTypeW(L"C:"), UINT{DRIVE_FIXED});
}

} // namespace
