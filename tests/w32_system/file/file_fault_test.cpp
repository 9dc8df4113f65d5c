// Failures of the system below the file operations, and transfers of more than the system moves at
// once. These need the stand-in's test interface.
#include <algorithm>
#include <cerrno>

#include <sys/mman.h>
#include <unistd.h>

#include "folder.h"
#include "support/faults.h"

using test::OpenedFile;
using test::with_fault;

namespace
{

struct FileFaults : test::InFolder
{
    ~FileFaults() override { PlinthTestReset(); }
    int move(const char* to, int fail_if_exists)
    {
        return QV_MoveFile(path("a"), path(to), fail_if_exists, nullptr, nullptr, nullptr);
    }
    uint64_t m_done = 77;
};

TEST_F(FileFaults, AMoveBetweenVolumesCopiesAndLeavesTheSource)
{
    make("a", "content");
    make("b", "other");
    // The move calls the failing rename first; the copy then puts its file in place by another.
    EXPECT_EQ(with_fault("rename", 1, 1, EXDEV, [&] { return move("c", 1); }), QV_OK);
    EXPECT_EQ(content("a") + content("c"), "contentcontent");
    EXPECT_EQ(with_fault("rename", 1, 1, EXDEV, [&] { return move("b", 1); }), QV_ERR_FILEEXISTS);
    EXPECT_EQ(with_fault("rename", 1, 0, EACCES, [&] { return move("d", 0); }), QV_ERR_ACCESS);
}

TEST_F(FileFaults, OwnerOnlyOpeningReportsEachStepThatFails)
{
    const auto open = [&]
    {
        return OpenedFile(path("file"), QV_OPEN_WRITE | QV_OPEN_CREATE, 0, QV_SECURITY_OWNER_ONLY)
            .status();
    };
    for (const char* step : {"GetUserNameW", "SetEntriesInAclW", "LocalAlloc",
                             "InitializeSecurityDescriptor", "SetSecurityDescriptorDacl"})
        EXPECT_EQ(with_fault(step, 1, 0, ERROR_NOT_ENOUGH_MEMORY, open), QV_ERR_SYSTEM) << step;
    EXPECT_FALSE(exists("file"));
    EXPECT_EQ(open(), QV_OK);
    EXPECT_EQ(std::filesystem::status(native("file")).permissions(), std::filesystem::perms{0600});
}

TEST_F(FileFaults, TheSystemsRefusalsHaveTheirStatus)
{
    make("file");
    OpenedFile file(path("file"), QV_OPEN_READ);
    wchar_t buffer[64];
    void* address = nullptr;
    PlinthTestFail("mkdir", 2, 1, EACCES);
    PlinthTestFail("getcwd", 1, 0, ENOENT);
    PlinthTestFail("statvfs", 1, 0, EIO);
    PlinthTestFail("unlink", 1, 1, EIO);
    PlinthTestFail("mmap", 1, 0, ENOMEM);
    EXPECT_EQ(QV_CreateDirectory(path("a/b/c"), 1, QV_SECURITY_DEFAULT), QV_ERR_CREATEDIR);
    EXPECT_TRUE(exists("a"));
    EXPECT_EQ(QV_GetCurrentDirectory(buffer, 64), QV_ERR_GETCURDIR);
    EXPECT_EQ(QV_GetDiskSpaces(path(""), nullptr, nullptr, nullptr), QV_ERR_DISKSPACE);
    EXPECT_EQ(QV_MapFile(file, QV_MAP_READ, 0, 0, &address), QV_ERR_SYSTEM);
    file.close();
    EXPECT_EQ(QV_RemoveFile(path("file"), 0), QV_ERR_REMOVEFILE);
}

// Without a drive.
TEST_F(FileFaults, ParentsAreMadeFromTheRootOn)
{
    const test::Wide full = path("rooted/sub");
    const wchar_t* const rooted = static_cast<const wchar_t*>(full) + 2;
    EXPECT_EQ(QV_CreateDirectory(rooted, 1, QV_SECURITY_DEFAULT), QV_OK);
    EXPECT_TRUE(exists("rooted/sub"));
}

// Addresses for gigabytes on a few pages of memory: one stretch of shared memory, mapped again and
// again. They stay to the end of the process.
char* repeated_memory(size_t size)
{
    constexpr size_t stretch = size_t{16} << 20;
    const int fd = memfd_create("test", MFD_CLOEXEC);
    EXPECT_EQ(ftruncate(fd, stretch), 0);
    auto* const address = static_cast<char*>(
        mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    for (size_t at = 0; at < size; at += stretch)
        mmap(address + at, std::min(stretch, size - at), PROT_READ | PROT_WRITE,
             MAP_SHARED | MAP_FIXED, fd, 0);
    close(fd);
    return address;
}

TEST_F(FileFaults, TransfersBeyondTwoAndFourGiBMoveEveryByte)
{
    constexpr uint64_t size = (uint64_t{4} << 30) + (uint64_t{3} << 20);
    char* const memory = repeated_memory(size);
    OpenedFile file(path("sparse"), QV_OPEN_READ | QV_OPEN_WRITE | QV_OPEN_CREATE);
    ASSERT_EQ(QV_SeekFile(file, static_cast<int64_t>(size - 4), 0), QV_OK);
    ASSERT_EQ(QV_WriteFile(file, "tail", 4, nullptr, nullptr), QV_OK);
    for (const uint64_t wanted : {(uint64_t{2} << 30) + 8192, size})
    {
        ASSERT_EQ(QV_SeekFile(file, static_cast<int64_t>(size - wanted), 0), QV_OK);
        EXPECT_EQ(QV_ReadFile(file, memory, wanted, &m_done, nullptr), QV_OK);
        EXPECT_EQ(m_done, wanted);
        EXPECT_EQ(std::string(memory + wanted - 4, 4), "tail");
    }
    OpenedFile sink(L"C:\\dev\\null", QV_OPEN_WRITE);
    EXPECT_EQ(QV_WriteFile(sink, memory, size, &m_done, nullptr), QV_OK);
    EXPECT_EQ(m_done, size);

    // Fails in the second of the library's pieces; the first takes three calls of the kernel.
    PlinthTestShorten("write", 4, 1, 1000);
    PlinthTestFail("write", 5, 1, ENOSPC);
    EXPECT_EQ(QV_WriteFile(sink, memory, size, &m_done, nullptr), QV_ERR_DISKFULL);
    EXPECT_EQ(m_done, uint64_t{0xFFFFFFFF} + 1000);
    PlinthTestReset();
    ASSERT_EQ(QV_SeekFile(file, -10, 2), QV_OK);
    PlinthTestShorten("read", 1, 1, 3);
    PlinthTestFail("read", 2, 1, EIO);
    EXPECT_EQ(QV_ReadFile(file, memory, size, &m_done, nullptr), QV_ERR_READFILE);
    EXPECT_EQ(m_done, 3u) << "what came before the failure";
}

TEST_F(FileFaults, AccessRightsAreNeitherToldNorChanged)
{
    make("file");
    unsigned rights = 4711;
    EXPECT_EQ(QV_GetAccessRights(path("file"), &rights), QV_ERR_BADARG);
    EXPECT_EQ(rights, 4711u);
    const auto before = std::filesystem::status(native("file")).permissions();
    EXPECT_EQ(QV_SetAccessRights(path("file"), 0), QV_ERR_BADARG);
    EXPECT_EQ(std::filesystem::status(native("file")).permissions(), before);
    EXPECT_EQ(QV_SetAccessRights(path("missing"), 0), QV_ERR_ACCESSRIGHTS);
    EXPECT_EQ(QV_SetAccessRights(nullptr, 0), QV_ERR_ACCESSRIGHTS);
    const auto set_with_fault = [&](const char* step, unsigned nth)
    {
        return with_fault(step, nth, 1, ERROR_ACCESS_DENIED,
                          [&] { return QV_SetAccessRights(path("file"), 0); });
    };
    // Some are called twice: for a size, then for the content.
    const std::pair<const char*, unsigned> rows[] = {
        {"GetUserNameW", 1},      {"LookupAccountNameW", 2},           {"GetFileSecurityW", 2},
        {"GetAclInformation", 1}, {"InitializeSecurityDescriptor", 1}, {"file lists", 1},
        {"InitializeAcl", 1},     {"GetSecurityDescriptorDacl", 1}};
    for (const auto& [step, calls] : rows)
        for (unsigned nth = 1; nth <= calls; ++nth)
            EXPECT_EQ(set_with_fault(step, nth), QV_ERR_ACCESSRIGHTS) << step << " " << nth;
    for (unsigned nth = 1; nth <= 7; ++nth) // the sixth function is optional
        EXPECT_EQ(set_with_fault("GetProcAddress", nth), nth == 6 ? QV_ERR_BADARG : QV_ERR_NOSYMBOL)
            << nth;
}

} // namespace
