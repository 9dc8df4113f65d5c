// Opening files, and operations on open ones.
#include <cstring>
#include <tuple>
#include <vector>

#include "folder.h"

using test::OpenedFile;
using test::Wide;

namespace
{

constexpr unsigned read_write = QV_OPEN_READ | QV_OPEN_WRITE;
constexpr unsigned read_write_create = read_write | QV_OPEN_CREATE;

using Counted = std::pair<int, uint64_t>; // a status, and a count or size
using Read = std::pair<int, std::string>; // a status, and the bytes that were read

Counted write(QvFile file, const std::string& text)
{
    uint64_t done = 99;
    const int status = QV_WriteFile(file, text.data(), text.size(), &done, nullptr);
    return {status, done};
}

Read read(QvFile file, size_t size)
{
    std::string bytes(size, '\0');
    uint64_t done = 99;
    const int status = QV_ReadFile(file, bytes.data(), size, &done, nullptr);
    bytes.resize(done);
    return {status, bytes};
}

Counted position_of(QvFile file)
{
    uint64_t position = 7;
    const int status = QV_FilePosition(file, &position);
    return {status, position};
}

Counted size_of(QvFile file)
{
    uint64_t size = 7;
    const int status = QV_GetFileSize(file, &size);
    return {status, size};
}

struct OpenFile : test::InFolder
{
    int open(const wchar_t* name, unsigned access, unsigned share = test::share_all)
    {
        return OpenedFile(name, access, share).status();
    }
};

TEST_F(OpenFile, FollowsTheFlags)
{
    // Flags, the status for a missing file, the status for one with "old" in it, and its content
    // afterwards.
    const std::tuple<unsigned, int, int, const char*> rows[] = {
        {0, QV_ERR_OPENFILE, QV_OK, "old"},
        {QV_OPEN_CREATE, QV_OK, QV_ERR_OPENFILE, "old"},
        {QV_OPEN_ALWAYS, QV_OK, QV_OK, "old"},
        {QV_OPEN_CREATE | QV_OPEN_ALWAYS, QV_OK, QV_OK, ""},
        {QV_OPEN_TRUNCATE, QV_ERR_OPENFILE, QV_OK, ""},
        {QV_OPEN_TRUNCATE | QV_OPEN_ALWAYS, QV_OK, QV_OK, "old"},
        {QV_OPEN_TRUNCATE | QV_OPEN_CREATE, QV_OK, QV_ERR_OPENFILE, "old"},
    };
    for (const auto& [access, when_missing, when_there, content_after] : rows)
    {
        SCOPED_TRACE(access);
        std::filesystem::remove(native("missing"));
        make("there", "old");
        EXPECT_EQ(open(path("missing"), access | read_write), when_missing);
        EXPECT_EQ(exists("missing"), when_missing == QV_OK);
        EXPECT_EQ(open(path("there"), access | read_write), when_there);
        EXPECT_EQ(content("there"), content_after);
    }
}

TEST_F(OpenFile, RefusesBadArgumentsPathsAndHandles)
{
    const auto before = reinterpret_cast<QvFile>(uintptr_t{0x1234});
    QvFile untouched = before;
    EXPECT_EQ(QV_OpenFile(path("a"), read_write_create, 0, 7, nullptr), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_OpenFile(path("a"), read_write_create, 0, 0, &untouched), QV_ERR_BADARG);
    EXPECT_EQ(QV_OpenFile(path("a"), QV_OPEN_READ, 0, QV_SECURITY_DEFAULT, &untouched),
              QV_ERR_OPENFILE);
    EXPECT_EQ(untouched, before);
    EXPECT_FALSE(exists("a"));

    constexpr unsigned access = read_write | QV_OPEN_ALWAYS;
    EXPECT_EQ(open(nullptr, access), QV_ERR_OPENFILE);
    for (const Wide& bad : {Wide(), path(std::string(5000, 'x')), path(std::string(300, 'x')),
                            path("none/file"), test::windows_form(m_folder)})
        EXPECT_EQ(open(bad, access), QV_ERR_OPENFILE) << bad.utf8();

    OpenedFile file(path("file"), read_write_create);
    const QvFile stale = file;
    EXPECT_EQ(file.close(), QV_OK);
    EXPECT_EQ(QV_CloseFile(stale), QV_ERR_CLOSEFILE);
    EXPECT_EQ(QV_CloseFile(nullptr), QV_ERR_CLOSEFILE);
    EXPECT_EQ(QV_CloseFile(INVALID_HANDLE_VALUE), QV_OK) << "stands for the process itself";
    EXPECT_EQ(QV_SeekFile(stale, 0, 0), QV_ERR_SEEKFILE);
    EXPECT_EQ(position_of(stale), Counted(QV_ERR_FILEPOSITION, 0));
    EXPECT_EQ(size_of(stale), Counted(QV_ERR_FILESIZE, 0));
    EXPECT_EQ(QV_TouchFile(stale, nullptr, nullptr, nullptr), QV_ERR_TOUCHFILE);
    EXPECT_EQ(QV_GetFileTimes(stale, nullptr, nullptr, nullptr), QV_ERR_FILETIMES);
}

TEST_F(OpenFile, ShareModesHoldWithinAProcess)
{
    OpenedFile writer(path("a"), QV_OPEN_WRITE | QV_OPEN_CREATE, QV_SHARE_READ);
    EXPECT_EQ(open(path("a"), QV_OPEN_WRITE), QV_ERR_OPENFILE);
    EXPECT_EQ(open(path("a"), QV_OPEN_READ, QV_SHARE_READ), QV_ERR_OPENFILE);
    uint64_t size = 1;
    EXPECT_EQ(QV_GetFileSizeFromName(path("a"), &size), QV_OK) << "shares the writing too";
    EXPECT_EQ(size, 0u);
}

TEST_F(OpenFile, TransfersAtTheSharedPositionWithTheAccessThatItWasOpenedFor)
{
    OpenedFile file(path("a"), read_write_create);
    EXPECT_EQ(write(file, "hello world"), Counted(QV_OK, 11));
    EXPECT_EQ(QV_SeekFile(file, -5, 2), QV_OK);
    EXPECT_EQ(read(file, 16), Read(QV_OK, "world")) << "short at the end";
    EXPECT_EQ(read(file, 16), Read(QV_OK, "")) << "at the end";
    EXPECT_EQ(QV_WriteFile(file, "!", 1, nullptr, nullptr), QV_OK) << "the count is optional";
    OpenedFile writer(path("a"), QV_OPEN_WRITE), reader(path("a"), QV_OPEN_READ);
    EXPECT_EQ(read(writer, 1), Read(QV_ERR_READFILE, ""));
    EXPECT_EQ(write(reader, "x"), Counted(QV_ERR_WRITEFILE, 0));
    EXPECT_EQ(QV_SetEOF(reader), QV_ERR_SETEOF);
    EXPECT_EQ(content("a"), "hello world!");
}

TEST_F(OpenFile, SeeksAndHasASizeIn64Bits)
{
    OpenedFile file(path("a"), read_write_create);
    EXPECT_EQ(QV_SeekFile(file, 0x1'2345'6789, 0), QV_OK);
    EXPECT_EQ(QV_SeekFile(file, -9, 1), QV_OK);
    EXPECT_EQ(position_of(file), Counted(QV_OK, 0x1'2345'6780));
    for (const auto& [offset, whence] : {std::pair{-1, 0}, {0, 3}, {0, -1}})
        EXPECT_EQ(QV_SeekFile(file, offset, whence), QV_ERR_SEEKFILE) << offset << " " << whence;
    EXPECT_EQ(QV_FilePosition(file, nullptr), QV_ERR_NULLPTR);
    // A low word of ones is not a failure.
    for (const uint64_t wanted : {uint64_t{0xFFFFFFFF}, uint64_t{0x1'0000'0001}, uint64_t{3}})
    {
        uint64_t by_name = 0;
        EXPECT_EQ(QV_SeekFile(file, static_cast<int64_t>(wanted), 0), QV_OK);
        EXPECT_EQ(position_of(file), Counted(QV_OK, wanted));
        EXPECT_EQ(QV_SetEOF(file), QV_OK);
        EXPECT_EQ(size_of(file), Counted(QV_OK, wanted));
        EXPECT_EQ(QV_GetFileSize(file, nullptr), QV_OK);
        EXPECT_EQ(QV_GetFileSizeFromName(path("a"), &by_name), QV_OK);
        EXPECT_EQ(by_name, wanted);
    }
    EXPECT_EQ(QV_GetFileSizeFromName(path("none"), nullptr), QV_ERR_OPENFILE);
}

TEST_F(OpenFile, LocksARangeAgainstOtherHandles)
{
    OpenedFile first(path("a"), read_write_create), second(path("a"), read_write);
    constexpr uint64_t beyond = 0x2'0000'0000; // past the end and 32 bits
    EXPECT_EQ(QV_LockFile(first, beyond, 10), QV_OK);
    EXPECT_EQ(QV_LockFile(second, beyond + 9, 1), QV_ERR_LOCKFILE);
    EXPECT_EQ(QV_LockFile(second, beyond + 10, 1), QV_OK);
    EXPECT_EQ(QV_UnlockFile(second, beyond, 10), QV_ERR_UNLOCKFILE) << "not its lock";
    EXPECT_EQ(QV_UnlockFile(first, beyond, 10), QV_OK);
    EXPECT_EQ(QV_LockFile(second, beyond, 10), QV_OK);
    second.close();
    EXPECT_EQ(QV_LockFile(first, beyond, 11), QV_OK) << "closing gives the locks up";
}

TEST_F(OpenFile, IsMappedFromAnyOffsetAlsoWithPrivateCopies)
{
    const std::string bytes = test::pattern(200'000);
    make("a", bytes);
    OpenedFile file(path("a"), read_write);
    void* address = nullptr;
    for (const uint64_t offset : {0u, 65'535u, 65'536u, 199'999u})
    {
        SCOPED_TRACE(offset);
        ASSERT_EQ(QV_MapFile(file, QV_MAP_READ, offset, 1, &address), QV_OK);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(address) % 65'536, offset % 65'536);
        EXPECT_EQ(*static_cast<char*>(address), bytes[offset]);
        EXPECT_EQ(QV_UnmapFile(address, 1), QV_OK);
        EXPECT_EQ(QV_UnmapFile(address, 1), QV_ERR_SYSTEM) << "it is gone";
    }
    ASSERT_EQ(QV_MapFile(file, QV_MAP_WRITE, 199'990, 100, &address), QV_OK);
    std::memcpy(address, "0123456789ABCDEF", 16);
    EXPECT_EQ(QV_UnmapFile(address, 100), QV_OK);
    ASSERT_EQ(QV_MapFile(file, QV_MAP_COPY, 0, 10, &address), QV_OK);
    std::memset(address, 'z', 10);
    EXPECT_EQ(QV_UnmapFile(address, 10), QV_OK);
    ASSERT_EQ(QV_MapFile(file, QV_MAP_READ, 0, 0, &address), QV_OK);
    file.close();
    const std::string now = bytes.substr(0, 199'990) + "0123456789ABCDEF" + std::string(84, '\0');
    EXPECT_EQ(content("a"), now) << "grown by what was mapped behind its end";
    EXPECT_EQ(std::string(static_cast<char*>(address), now.size()), now) << "outlives the handle";
    EXPECT_EQ(QV_UnmapFile(address, 0), QV_OK);
}

TEST_F(OpenFile, IsNotMappedWhereThatCannotBe)
{
    make("a", "content");
    OpenedFile file(path("a"), QV_OPEN_READ), empty(path("empty"), read_write_create);
    void* address = nullptr;
    EXPECT_EQ(QV_MapFile(file, QV_MAP_READ, 0, 0, nullptr), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_MapFile(file, 4, 0, 0, &address), QV_ERR_NULLPTR);
    for (const QvFile none : {QvFile(INVALID_HANDLE_VALUE), QvFile(nullptr)})
        EXPECT_EQ(QV_MapFile(none, QV_MAP_READ, 0, 1, &address), QV_ERR_SYSTEM);
    EXPECT_EQ(QV_MapFile(file, QV_MAP_WRITE, 0, 0, &address), QV_ERR_SYSTEM) << "to be read only";
    EXPECT_EQ(QV_MapFile(file, QV_MAP_READ, 300'000, 1, &address), QV_ERR_SYSTEM);
    EXPECT_EQ(QV_MapFile(empty, QV_MAP_READ, 0, 0, &address), QV_ERR_SYSTEM);
    EXPECT_EQ(address, nullptr);
    EXPECT_EQ(QV_UnmapFile(nullptr, 0), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_UnmapFile(&address, 0), QV_ERR_SYSTEM);
}

struct tm at(int year, int month, int day)
{
    struct tm time = {};
    time.tm_year = year - 1900;
    time.tm_mon = month - 1;
    time.tm_mday = day;
    time.tm_hour = 12;
    time.tm_min = 34;
    time.tm_sec = 56;
    time.tm_isdst = -1;
    return time;
}

// The fields of a time, in comparable form.
std::vector<int> fields(const struct tm& time)
{
    return {time.tm_year, time.tm_mon, time.tm_mday, time.tm_hour,
            time.tm_min,  time.tm_sec, time.tm_isdst};
}

struct FileTimes : test::InFolder
{
    FileTimes() { EXPECT_EQ(QV_TouchFile(m_file, &good, &good, &good), QV_OK); }
    int set_write(const struct tm& time) { return QV_TouchFile(m_file, nullptr, nullptr, &time); }
    void expect(const struct tm& creation, const struct tm& access, const struct tm& write)
    {
        ASSERT_EQ(QV_GetFileTimes(m_file, &m_creation, &m_access, &m_write), QV_OK);
        EXPECT_EQ(fields(m_creation), fields(creation));
        EXPECT_EQ(fields(m_access), fields(access));
        EXPECT_EQ(fields(m_write), fields(write));
    }
    const struct tm good = at(2001, 2, 3);
    OpenedFile m_file{path("file"), read_write_create};
    struct tm m_creation = {}, m_access = {}, m_write = {};
};

TEST_F(FileTimes, ComeBackAsTheyWereSetEachForItself)
{
    const struct tm access = at(2012, 12, 31), write = at(2024, 3, 1);
    ASSERT_EQ(QV_TouchFile(m_file, &good, &access, &write), QV_OK);
    expect(good, access, write);
    EXPECT_EQ(m_write.tm_yday, 60) << "1 March of a leap year";
    EXPECT_EQ(m_write.tm_wday, 5);
    EXPECT_EQ(QV_GetFileTimes(m_file, nullptr, nullptr, nullptr), QV_OK);
}

TEST_F(FileTimes, ATimeThatDoesNotExistSetsNone)
{
    const struct tm no_leap_day = at(2023, 2, 29), other = at(2005, 5, 5);
    EXPECT_EQ(QV_TouchFile(m_file, &other, &no_leap_day, &other), QV_ERR_NULLPTR);
    // Each of these would be valid if it were cut to 16 bits.
    for (int tm::*field :
         {&tm::tm_year, &tm::tm_mon, &tm::tm_mday, &tm::tm_hour, &tm::tm_min, &tm::tm_sec})
    {
        struct tm bad = good;
        bad.*field += 0x10000;
        EXPECT_EQ(set_write(bad), QV_ERR_NULLPTR) << testing::PrintToString(fields(bad));
    }
    EXPECT_EQ(QV_TouchFile(m_file, nullptr, nullptr, nullptr), QV_OK);
    expect(good, good, good);
}

TEST_F(FileTimes, ATimeIsKeptOrRefusedButNeverChanged)
{
    for (const int year : {1601, 1800, 1901, 1969, 2038, 2107, 2447, 9999, 30'827})
    {
        SCOPED_TRACE(year);
        const struct tm odd = at(year, 6, 15);
        const int status = set_write(odd);
        EXPECT_TRUE(status == QV_OK || status == QV_ERR_TOUCHFILE) << status;
        expect(good, good, status == QV_OK ? odd : good);
        ASSERT_EQ(set_write(good), QV_OK);
    }
}

} // namespace
