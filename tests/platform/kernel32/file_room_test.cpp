// The room that a file is given on its volume.
#include <string>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <windows.h>

#include "support/environment.h"

namespace
{

class FileRoom : public testing::Test
{
protected:
    FileRoom()
    {
        test::write_file(m_path, "0123456789");
        m_file = open(GENERIC_READ | GENERIC_WRITE);
    }
    ~FileRoom() override { CloseHandle(m_file); }

    HANDLE open(DWORD access) const
    {
        return CreateFileW(test::windows_form(m_path), access, FILE_SHARE_READ | FILE_SHARE_WRITE,
                           nullptr, OPEN_EXISTING, 0, nullptr);
    }
    static BOOL set_room(HANDLE file, LONGLONG bytes)
    {
        FILE_ALLOCATION_INFO room;
        room.AllocationSize.QuadPart = bytes;
        return SetFileInformationByHandle(file, FileAllocationInfo, &room, sizeof room);
    }
    off_t reserved() const
    {
        struct stat found = {};
        stat(m_path.c_str(), &found);
        return found.st_blocks * 512;
    }

    std::string m_path = test::make_folder("file-room") + "/a";
    HANDLE m_file = nullptr;
};

TEST_F(FileRoom, IsReservedBehindTheEndWithoutMovingIt)
{
    ASSERT_TRUE(set_room(m_file, 1 << 20));
    EXPECT_EQ(GetFileSize(m_file, nullptr), 10u);
    EXPECT_GE(reserved(), 1 << 20);
}

TEST_F(FileRoom, OfLessThanTheBytesCutsThem)
{
    ASSERT_TRUE(set_room(m_file, 4));
    EXPECT_EQ(test::read_file(m_path), "0123");
}

TEST_F(FileRoom, IsRefusedForABadHandleClassSizeOrAccess)
{
    FILE_ALLOCATION_INFO room = {};
    EXPECT_FALSE(SetFileInformationByHandle(nullptr, FileAllocationInfo, &room, sizeof room));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_FALSE(SetFileInformationByHandle(m_file, static_cast<FILE_INFO_BY_HANDLE_CLASS>(0),
                                            &room, sizeof room));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_FALSE(SetFileInformationByHandle(m_file, FileAllocationInfo, &room, 4));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_BAD_LENGTH});
    EXPECT_FALSE(set_room(m_file, -1));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    const HANDLE reader = open(GENERIC_READ);
    EXPECT_FALSE(set_room(reader, 0));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    CloseHandle(reader);
    EXPECT_EQ(test::read_file(m_path), "0123456789") << "what is refused changes nothing";
}

} // namespace
