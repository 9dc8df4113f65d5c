// Mappings of files and of memory, and the table of views.
#include <cerrno>
#include <cstring>
#include <filesystem>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>
#include <windows.h>

#include "support/environment.h"

namespace
{

class FileMapping : public testing::Test
{
protected:
    FileMapping() { test::write_file(m_native, std::string(100'000, 'x')); }
    ~FileMapping() override
    {
        PlinthTestReset();
        CloseHandle(m_file);
    }
    HANDLE open(DWORD access)
    {
        CloseHandle(m_file);
        m_file = CreateFileW(test::windows_form(m_native), access, 3, nullptr, OPEN_EXISTING,
                             FILE_ATTRIBUTE_NORMAL, nullptr);
        return m_file;
    }
    HANDLE mapping(DWORD protection, uint64_t size)
    {
        return CreateFileMappingW(m_file, nullptr, protection, static_cast<DWORD>(size >> 32),
                                  static_cast<DWORD>(size), nullptr);
    }
    uint64_t size() const { return std::filesystem::file_size(m_native); }
    std::string m_native = test::make_folder("mapping") + "/file";
    HANDLE m_file = nullptr;
};

TEST_F(FileMapping, GrowsTheFileOnlyForWritingAndOnlyIfTheDiskHasRoom)
{
    open(GENERIC_READ);
    EXPECT_EQ(mapping(PAGE_READONLY, 100'001), nullptr);
    EXPECT_EQ(mapping(PAGE_WRITECOPY, 100'001), nullptr);
    EXPECT_EQ(mapping(PAGE_READWRITE, 0), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    open(GENERIC_READ | GENERIC_WRITE);
    // A view of room that the disk does not have would end the process at the first write to it.
    PlinthTestFail("fallocate", 1, 1, ENOSPC);
    EXPECT_EQ(mapping(PAGE_READWRITE, 200'000), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_DISK_FULL});
    EXPECT_EQ(size(), 100'000u);
    PlinthTestReset();
    // Where the file system can't promise room the file grows nevertheless.
    PlinthTestFail("fallocate", 1, 1, EOPNOTSUPP);
    const HANDLE grown = mapping(PAGE_READWRITE, 200'000);
    ASSERT_NE(grown, nullptr);
    EXPECT_EQ(size(), 200'000u);
    EXPECT_TRUE(CloseHandle(grown));
    const HANDLE more = mapping(PAGE_READWRITE, 300'000);
    ASSERT_NE(more, nullptr);
    EXPECT_EQ(size(), 300'000u);
    EXPECT_TRUE(CloseHandle(more));
}

TEST_F(FileMapping, RefusesViewsThatItCannotGive)
{
    open(GENERIC_READ | GENERIC_WRITE);
    const HANDLE reading = mapping(PAGE_READONLY, 0);
    ASSERT_NE(reading, nullptr);
    EXPECT_EQ(MapViewOfFile(reading, FILE_MAP_WRITE, 0, 0, 0), nullptr);
    EXPECT_EQ(MapViewOfFile(reading, FILE_MAP_READ, 0, 4096, 0), nullptr) << "not a granule";
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MAPPED_ALIGNMENT});
    EXPECT_EQ(MapViewOfFile(reading, FILE_MAP_READ, 0, 131'072, 0), nullptr);
    EXPECT_EQ(MapViewOfFile(reading, FILE_MAP_READ, 0, 0, 100'001), nullptr);
    EXPECT_EQ(MapViewOfFile(m_file, FILE_MAP_READ, 0, 0, 0), nullptr) << "not a mapping";
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_TRUE(CloseHandle(reading));
    EXPECT_EQ(MapViewOfFile(reading, FILE_MAP_READ, 0, 0, 0), nullptr) << "stale";
}

TEST_F(FileMapping, UnmapsOnlyWholeViewsAndEachOnce)
{
    open(GENERIC_READ);
    const HANDLE reading = mapping(PAGE_READONLY, 0);
    char* const view = static_cast<char*>(MapViewOfFile(reading, FILE_MAP_READ, 0, 65'536, 0));
    ASSERT_NE(view, nullptr);
    EXPECT_TRUE(CloseHandle(reading));
    EXPECT_EQ(view[100'000 - 65'536 - 1], 'x') << "a view outlives its mapping";
    EXPECT_FALSE(UnmapViewOfFile(view + 4096));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_ADDRESS});
    EXPECT_FALSE(UnmapViewOfFile(&reading));
    EXPECT_FALSE(UnmapViewOfFile(nullptr));
    EXPECT_TRUE(UnmapViewOfFile(view));
    EXPECT_FALSE(UnmapViewOfFile(view));
}

TEST_F(FileMapping, KeepsTheFileInUse)
{
    open(GENERIC_READ);
    const HANDLE reading = mapping(PAGE_READONLY, 0);
    CloseHandle(m_file);
    m_file = nullptr;
    EXPECT_FALSE(DeleteFileW(test::windows_form(m_native)));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_TRUE(CloseHandle(reading));
    EXPECT_TRUE(DeleteFileW(test::windows_form(m_native)));
}

} // namespace
