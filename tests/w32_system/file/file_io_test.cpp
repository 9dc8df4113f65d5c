#include <vector>

#include <gtest/gtest.h>

#include "support/files.h"

using test::OpenedFile;
using test::Wide;

namespace
{

constexpr unsigned read_write_create = QV_OPEN_READ | QV_OPEN_WRITE | QV_OPEN_CREATE;

TEST(FileTransfer, WritesAndReadsAtTheSharedPosition)
{
    OpenedFile file(test::path_in(test::make_folder("io"), "file"), read_write_create);
    uint64_t done = 99;
    EXPECT_EQ(QV_WriteFile(file, "hello world", 11, &done, nullptr), QV_OK);
    EXPECT_EQ(done, 11u);
    EXPECT_EQ(QV_SeekFile(file, -5, 2), QV_OK);
    char text[16] = {};
    EXPECT_EQ(QV_ReadFile(file, text, sizeof text, &done, nullptr), QV_OK) << "short at the end";
    EXPECT_EQ(done, 5u);
    EXPECT_STREQ(text, "world");
    EXPECT_EQ(QV_ReadFile(file, text, sizeof text, &done, nullptr), QV_OK) << "at the end";
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(QV_ReadFile(file, text, 0, &done, nullptr), QV_OK);
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(QV_WriteFile(file, "!", 1, nullptr, nullptr), QV_OK) << "the count is optional";
}

TEST(FileTransfer, NeedsTheAccessThatTheHandleWasOpenedFor)
{
    const Wide path = test::path_in(test::make_folder("io"), "file");
    char byte = 'x';
    uint64_t done = 99;
    OpenedFile writer(path, QV_OPEN_WRITE | QV_OPEN_CREATE);
    EXPECT_EQ(QV_ReadFile(writer, &byte, 1, &done, nullptr), QV_ERR_READFILE);
    EXPECT_EQ(done, 0u);
    OpenedFile reader(path, QV_OPEN_READ);
    EXPECT_EQ(QV_WriteFile(reader, &byte, 1, &done, nullptr), QV_ERR_WRITEFILE);
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(QV_SetEOF(reader), QV_ERR_SETEOF);
}

TEST(FileTransfer, RefusesAStaleHandle)
{
    OpenedFile file(test::path_in(test::make_folder("io"), "file"), read_write_create);
    const QvFile stale = file;
    file.close();
    char byte = 0;
    uint64_t value = 7;
    EXPECT_EQ(QV_ReadFile(stale, &byte, 1, &value, nullptr), QV_ERR_READFILE);
    EXPECT_EQ(QV_WriteFile(stale, &byte, 1, &value, nullptr), QV_ERR_WRITEFILE);
    EXPECT_EQ(QV_SeekFile(stale, 0, 0), QV_ERR_SEEKFILE);
    EXPECT_EQ(QV_FilePosition(stale, &value), QV_ERR_FILEPOSITION);
    EXPECT_EQ(value, 0u);
    value = 7;
    EXPECT_EQ(QV_GetFileSize(stale, &value), QV_ERR_FILESIZE);
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(QV_SetEOF(stale), QV_ERR_SETEOF);
    EXPECT_EQ(QV_LockFile(stale, 0, 1), QV_ERR_LOCKFILE);
    EXPECT_EQ(QV_UnlockFile(stale, 0, 1), QV_ERR_UNLOCKFILE);
    EXPECT_EQ(QV_TouchFile(stale, nullptr, nullptr, nullptr), QV_ERR_TOUCHFILE);
    EXPECT_EQ(QV_GetFileTimes(stale, nullptr, nullptr, nullptr), QV_ERR_FILETIMES);
}

TEST(FilePosition, SeeksIn64BitsFromAllThreePlaces)
{
    OpenedFile file(test::path_in(test::make_folder("io"), "file"), read_write_create);
    uint64_t position = 0;
    constexpr int64_t beyond = 0x1'2345'6789;
    EXPECT_EQ(QV_SeekFile(file, beyond, 0), QV_OK);
    EXPECT_EQ(QV_SeekFile(file, -9, 1), QV_OK);
    EXPECT_EQ(QV_FilePosition(file, &position), QV_OK);
    EXPECT_EQ(position, static_cast<uint64_t>(beyond - 9));
    EXPECT_EQ(QV_SeekFile(file, 0xFFFFFFFF, 0), QV_OK) << "a low word of ones is no failure";
    EXPECT_EQ(QV_FilePosition(file, &position), QV_OK);
    EXPECT_EQ(position, 0xFFFFFFFFu);
    EXPECT_EQ(QV_SeekFile(file, -1, 0), QV_ERR_SEEKFILE);
    EXPECT_EQ(QV_SeekFile(file, 0, 3), QV_ERR_SEEKFILE);
    EXPECT_EQ(QV_FilePosition(file, nullptr), QV_ERR_NULLPTR);
}

TEST(FileSize, TellsAFileOfExactlyFourGiBLessOneFromAFailure)
{
    const Wide path = test::path_in(test::make_folder("io"), "sparse");
    OpenedFile file(path, read_write_create);
    uint64_t size = 0;
    for (const uint64_t wanted : {uint64_t{0xFFFFFFFF}, uint64_t{0x1'0000'0001}, uint64_t{3}})
    {
        ASSERT_EQ(QV_SeekFile(file, static_cast<int64_t>(wanted), 0), QV_OK);
        ASSERT_EQ(QV_SetEOF(file), QV_OK);
        EXPECT_EQ(QV_GetFileSize(file, &size), QV_OK);
        EXPECT_EQ(size, wanted);
        EXPECT_EQ(QV_GetFileSize(file, nullptr), QV_OK);
        EXPECT_EQ(QV_GetFileSizeFromName(path, &size), QV_OK);
        EXPECT_EQ(size, wanted);
    }
    EXPECT_EQ(QV_GetFileSizeFromName(test::path_in(test::root(), "none"), &size), QV_ERR_OPENFILE);
}

TEST(FileLock, ExcludesOtherHandlesFromTheRange)
{
    const Wide path = test::path_in(test::make_folder("io"), "file");
    OpenedFile first(path, read_write_create);
    OpenedFile second(path, QV_OPEN_READ | QV_OPEN_WRITE);
    constexpr uint64_t beyond = 0x2'0000'0000; // the end, and 32 bits
    EXPECT_EQ(QV_LockFile(first, beyond, 10), QV_OK);
    EXPECT_EQ(QV_LockFile(second, beyond + 9, 1), QV_ERR_LOCKFILE);
    EXPECT_EQ(QV_LockFile(second, beyond + 10, 1), QV_OK);
    EXPECT_EQ(QV_UnlockFile(second, beyond, 10), QV_ERR_UNLOCKFILE) << "not its lock";
    EXPECT_EQ(QV_UnlockFile(first, beyond, 10), QV_OK);
    EXPECT_EQ(QV_LockFile(second, beyond, 10), QV_OK);
    second.close();
    EXPECT_EQ(QV_LockFile(first, beyond, 11), QV_OK) << "closing gives the locks up";
}

} // namespace
