// Failures of the system below the file operations, and transfers of more than the system moves at
// once. These need the stand-in's test interface.
#include <cerrno>
#include <filesystem>

#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>

#include "support/files.h"

using test::OpenedFile;
using test::Wide;

namespace
{

class FileFaults : public testing::Test
{
protected:
    ~FileFaults() override { PlinthTestReset(); }
    Wide path(const std::string& name) const { return test::path_in(m_folder, name); }
    std::string m_folder = test::make_folder("faults");
};

TEST_F(FileFaults, AFullDiskHasItsOwnStatusAndTheCountOfWhatWasMoved)
{
    OpenedFile file(path("file"), QV_OPEN_WRITE | QV_OPEN_CREATE);
    uint64_t done = 0;
    PlinthTestShorten("write", 1, 1, 3);
    PlinthTestFail("write", 2, 1, ENOSPC);
    EXPECT_EQ(QV_WriteFile(file, "12345678", 8, &done, nullptr), QV_ERR_DISKFULL);
    EXPECT_EQ(done, 3u);
    PlinthTestReset();
    PlinthTestFail("write", 1, 1, EIO);
    EXPECT_EQ(QV_WriteFile(file, "12345678", 8, &done, nullptr), QV_ERR_WRITEFILE);
    EXPECT_EQ(done, 0u);
    PlinthTestReset();
    PlinthTestShorten("write", 1, 4, 2);
    EXPECT_EQ(QV_WriteFile(file, "12345678", 8, &done, nullptr), QV_OK) << "short writes go on";
    EXPECT_EQ(done, 8u);
    file.close();
    EXPECT_EQ(test::read_file(m_folder + "/file"), "12312345678");

    OpenedFile full(L"C:\\dev\\full", QV_OPEN_WRITE);
    EXPECT_EQ(QV_WriteFile(full, "x", 1, &done, nullptr), QV_ERR_DISKFULL);
}

TEST_F(FileFaults, AReadThatFailsKeepsTheCountOfWhatCame)
{
    test::write_file(m_folder + "/file", "12345678");
    OpenedFile file(path("file"), QV_OPEN_READ);
    char text[9] = {};
    uint64_t done = 0;
    PlinthTestShorten("read", 1, 1, 3);
    PlinthTestFail("read", 2, 1, EIO);
    EXPECT_EQ(QV_ReadFile(file, text, 8, &done, nullptr), QV_ERR_READFILE);
    EXPECT_EQ(done, 3u);
    EXPECT_STREQ(text, "123");
}

TEST_F(FileFaults, AMoveBetweenVolumesCopiesAndLeavesTheSource)
{
    test::write_file(m_folder + "/a", "content");
    test::write_file(m_folder + "/b", "other");
    PlinthTestFail("rename", 1, 1, EXDEV); // the move's; the copy puts itself in place by another
    EXPECT_EQ(QV_MoveFile(path("a"), path("c"), 1, nullptr, nullptr, nullptr), QV_OK);
    EXPECT_EQ(test::read_file(m_folder + "/a"), "content");
    EXPECT_EQ(test::read_file(m_folder + "/c"), "content");
    PlinthTestReset();
    PlinthTestFail("rename", 1, 1, EXDEV);
    EXPECT_EQ(QV_MoveFile(path("a"), path("b"), 1, nullptr, nullptr, nullptr), QV_ERR_FILEEXISTS);
    PlinthTestReset();
    PlinthTestFail("rename", 1, 0, EACCES);
    EXPECT_EQ(QV_MoveFile(path("a"), path("d"), 0, nullptr, nullptr, nullptr), QV_ERR_ACCESS);
}

TEST_F(FileFaults, OwnerOnlyOpeningReportsEachStepThatFails)
{
    for (const char* step : {"GetUserNameW", "SetEntriesInAclW", "LocalAlloc",
                             "InitializeSecurityDescriptor", "SetSecurityDescriptorDacl"})
    {
        PlinthTestFail(step, 1, 0, ERROR_NOT_ENOUGH_MEMORY);
        QvFile file = nullptr;
        EXPECT_EQ(QV_OpenFile(path("file"), QV_OPEN_WRITE | QV_OPEN_CREATE, 0,
                              QV_SECURITY_OWNER_ONLY, &file),
                  QV_ERR_SYSTEM)
            << step;
        PlinthTestReset();
    }
    EXPECT_FALSE(std::filesystem::exists(m_folder + "/file"));
    OpenedFile file(path("file"), QV_OPEN_WRITE | QV_OPEN_CREATE, 0, QV_SECURITY_OWNER_ONLY);
    EXPECT_EQ(file.status(), QV_OK);
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(m_folder + "/file").permissions(),
              perms::owner_read | perms::owner_write);
}

TEST_F(FileFaults, DirectoriesReportTheSystemsRefusals)
{
    PlinthTestFail("mkdir", 2, 1, EACCES);
    EXPECT_EQ(QV_CreateDirectory(path("a/b/c"), 1, QV_SECURITY_DEFAULT), QV_ERR_CREATEDIR);
    EXPECT_TRUE(std::filesystem::exists(m_folder + "/a"));
    PlinthTestReset();
    PlinthTestFail("getcwd", 1, 0, ENOENT);
    wchar_t buffer[64];
    EXPECT_EQ(QV_GetCurrentDirectory(buffer, 64), QV_ERR_GETCURDIR);
    PlinthTestReset();
    PlinthTestFail("statvfs", 1, 0, EIO);
    EXPECT_EQ(QV_GetDiskSpaces(path(""), nullptr, nullptr, nullptr), QV_ERR_DISKSPACE);
    PlinthTestReset();
    PlinthTestFail("unlink", 1, 1, EIO);
    test::write_file(m_folder + "/file", "x");
    EXPECT_EQ(QV_RemoveFile(path("file"), 0), QV_ERR_REMOVEFILE);
    PlinthTestReset();
    PlinthTestFail("mmap", 1, 0, ENOMEM);
    OpenedFile file(path("file"), QV_OPEN_READ);
    void* address = nullptr;
    EXPECT_EQ(QV_MapFile(file, QV_MAP_READ, 0, 0, &address), QV_ERR_SYSTEM);
}

// Addresses for gigabytes on a few pages of memory: one stretch of shared memory, mapped again and
// again.
class RepeatedMemory
{
public:
    explicit RepeatedMemory(size_t size) : m_size(size)
    {
        const int fd = memfd_create("test", MFD_CLOEXEC);
        if (ftruncate(fd, stretch) != 0)
            throw std::runtime_error("ftruncate");
        m_address = static_cast<char*>(
            mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
        for (size_t at = 0; at < size; at += stretch)
            mmap(m_address + at, std::min(stretch, size - at), PROT_READ | PROT_WRITE,
                 MAP_SHARED | MAP_FIXED, fd, 0);
        close(fd);
    }
    ~RepeatedMemory() { munmap(m_address, m_size); }
    char* data() const { return m_address; }
    static constexpr size_t stretch = size_t{16} << 20;

private:
    size_t m_size;
    char* m_address;
};

TEST_F(FileFaults, TransfersBeyondTwoAndFourGiBMoveEveryByte)
{
    constexpr uint64_t size = (uint64_t{4} << 30) + (uint64_t{3} << 20);
    const RepeatedMemory memory(size);
    OpenedFile file(path("sparse"), QV_OPEN_READ | QV_OPEN_WRITE | QV_OPEN_CREATE);
    ASSERT_EQ(QV_SeekFile(file, static_cast<int64_t>(size - 4), 0), QV_OK);
    ASSERT_EQ(QV_WriteFile(file, "tail", 4, nullptr, nullptr), QV_OK);
    for (const uint64_t wanted : {(uint64_t{2} << 30) + 8192, size})
    {
        uint64_t done = 0;
        ASSERT_EQ(QV_SeekFile(file, static_cast<int64_t>(size - wanted), 0), QV_OK);
        EXPECT_EQ(QV_ReadFile(file, memory.data(), wanted, &done, nullptr), QV_OK);
        EXPECT_EQ(done, wanted);
        EXPECT_EQ(std::string(memory.data() + wanted - 4, 4), "tail");
    }
    OpenedFile sink(L"C:\\dev\\null", QV_OPEN_WRITE);
    uint64_t done = 0;
    EXPECT_EQ(QV_WriteFile(sink, memory.data(), size, &done, nullptr), QV_OK);
    EXPECT_EQ(done, size);

    // A failure in the second of the library's pieces, whose first takes three calls of the kernel.
    PlinthTestShorten("write", 4, 1, 1000);
    PlinthTestFail("write", 5, 1, ENOSPC);
    EXPECT_EQ(QV_WriteFile(sink, memory.data(), size, &done, nullptr), QV_ERR_DISKFULL);
    EXPECT_EQ(done, uint64_t{0xFFFFFFFF} + 1000);
    PlinthTestReset();
    // The end of the file in the first piece: the second finds nothing more.
    ASSERT_EQ(QV_SeekFile(file, -10, 2), QV_OK);
    EXPECT_EQ(QV_ReadFile(file, memory.data(), size, &done, nullptr), QV_OK);
    EXPECT_EQ(done, 10u);
}

} // namespace
