// Mappings of files and of memory, the table of views, and the room that a file is given.
#include <cerrno>
#include <filesystem>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>
#include <windows.h>

#include "support/environment.h"
#include "support/handles.h"

namespace
{

using test::error_of;
using test::Handle;

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
    static DWORD error_of_view(HANDLE mapping, DWORD access, DWORD offset = 0, SIZE_T size = 0)
    {
        return error_of(MapViewOfFile(mapping, access, 0, offset, size));
    }
    static DWORD set_room(HANDLE file, LONGLONG bytes)
    {
        FILE_ALLOCATION_INFO room;
        room.AllocationSize.QuadPart = bytes;
        return error_of(SetFileInformationByHandle(file, FileAllocationInfo, &room, sizeof room));
    }
    uint64_t size() const { return std::filesystem::file_size(m_native); }
    const std::string m_native = test::make_folder("mapping") + "/file";
    const test::Wide m_path = test::windows_form(m_native);
};

TEST_F(FileMapping, GrowsTheFileOnlyForWritingAndOnlyIfTheDiskHasRoom)
{
    const Handle reader = open(GENERIC_READ);
    EXPECT_EQ(mapping(reader, PAGE_READONLY, 100'001).error(), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(mapping(reader, PAGE_WRITECOPY, 100'001).error(), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(mapping(reader, PAGE_READWRITE).error(), ERROR_ACCESS_DENIED);
    const Handle file = open(GENERIC_READ | GENERIC_WRITE);
    // A view of room that the disk does not have would end the process at the first write to it.
    PlinthTestFail("fallocate", 1, 1, ENOSPC);
    EXPECT_EQ(mapping(file, PAGE_READWRITE, 200'000).error(), ERROR_DISK_FULL);
    EXPECT_EQ(size(), 100'000u);
    PlinthTestReset();
    // Where the file system can't promise room the file grows nevertheless.
    PlinthTestFail("fallocate", 1, 1, EOPNOTSUPP);
    for (const DWORD more : {200'000u, 300'000u})
    {
        ASSERT_TRUE(mapping(file, PAGE_READWRITE, more));
        EXPECT_EQ(size(), more);
    }
}

TEST_F(FileMapping, RefusesViewsThatItCannotGive)
{
    const Handle file = open(GENERIC_READ | GENERIC_WRITE);
    Handle reading = mapping(file, PAGE_READONLY);
    EXPECT_EQ(error_of_view(reading, FILE_MAP_WRITE), ERROR_ACCESS_DENIED);
    EXPECT_EQ(error_of_view(reading, FILE_MAP_READ, 4096), ERROR_MAPPED_ALIGNMENT);
    EXPECT_EQ(error_of_view(reading, FILE_MAP_READ, 131'072), ERROR_ACCESS_DENIED);
    EXPECT_EQ(error_of_view(reading, FILE_MAP_READ, 0, 100'001), ERROR_ACCESS_DENIED);
    EXPECT_EQ(error_of_view(file, FILE_MAP_READ), ERROR_INVALID_HANDLE) << "not a mapping";
    const HANDLE stale = reading;
    reading.close();
    EXPECT_EQ(error_of_view(stale, FILE_MAP_READ), ERROR_INVALID_HANDLE);
}

TEST_F(FileMapping, UnmapsOnlyWholeViewsAndEachOnce)
{
    Handle reading = mapping(open(GENERIC_READ), PAGE_READONLY);
    char* const view = static_cast<char*>(MapViewOfFile(reading, FILE_MAP_READ, 0, 65'536, 0));
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(error_of(DeleteFileW(m_path)), ERROR_SHARING_VIOLATION);
    EXPECT_TRUE(reading.close());
    EXPECT_EQ(view[100'000 - 65'536 - 1], 'x') << "a view outlives its mapping";
    const std::initializer_list<const void*> others = {view + 4096, &reading, nullptr};
    for (const void* const other : others)
        EXPECT_EQ(error_of(UnmapViewOfFile(other)), ERROR_INVALID_ADDRESS);
    EXPECT_TRUE(UnmapViewOfFile(view));
    EXPECT_FALSE(UnmapViewOfFile(view));
    EXPECT_TRUE(DeleteFileW(m_path)) << "in use no longer";
}

using FileRoom = FileMapping;

TEST_F(FileRoom, IsReservedBehindTheEndWithoutMovingItAndCutsWhatIsBeyond)
{
    const Handle file = open(GENERIC_READ | GENERIC_WRITE);
    EXPECT_EQ(set_room(file, 1 << 20), 0u);
    EXPECT_EQ(size(), 100'000u);
    struct stat found = {};
    stat(m_native.c_str(), &found);
    EXPECT_GE(found.st_blocks * 512, 1 << 20);
    EXPECT_EQ(set_room(file, 4), 0u);
    EXPECT_EQ(test::read_file(m_native), "xxxx");
}

TEST_F(FileRoom, IsRefusedForABadHandleClassSizeOrAccess)
{
    const Handle file = open(GENERIC_READ | GENERIC_WRITE);
    FILE_ALLOCATION_INFO room = {};
    EXPECT_EQ(set_room(nullptr, 0), ERROR_INVALID_HANDLE);
    EXPECT_EQ(error_of(SetFileInformationByHandle(file, static_cast<FILE_INFO_BY_HANDLE_CLASS>(0),
                                                  &room, sizeof room)),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(error_of(SetFileInformationByHandle(file, FileAllocationInfo, &room, 4)),
              ERROR_BAD_LENGTH);
    EXPECT_EQ(set_room(file, -1), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(set_room(open(GENERIC_READ), 0), ERROR_ACCESS_DENIED);
    EXPECT_EQ(size(), 100'000u) << "what is refused changes nothing";
}

} // namespace
