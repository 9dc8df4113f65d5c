// Paths, and opening files as streams of the runtime library: which opens succeed, which are
// refused, and that a file which another handle protects stays unchanged.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/test.h"

#include <tchar.h>

#include "support/entries.h"
#include "support/environment.h"

namespace
{

// The errno of opening, 0 if it opens.
int error_of(const test::Wide& path, const wchar_t* mode)
{
    errno = 0;
    FILE* const stream = _wfopen(path, mode);
    const int failed = errno;
    if (stream)
        std::fclose(stream);
    return stream ? 0 : failed;
}

TEST(OpenStream, ReadsWritesAndAppends)
{
    const std::string file = test::make_folder("stream") + "/\u00E4.bin";
    const test::Wide path = test::windows_form(file);
    for (const auto& [mode, text] :
         {std::pair{L"wb", "a\n"}, {L"at+", "b"}, {L"r, ccs=UTF-8", "not written"}})
    {
        FILE* const stream = _wfopen(path, mode);
        ASSERT_NE(stream, nullptr) << test::utf8(mode);
        std::fputs(text, stream);
        std::fclose(stream);
    }
    EXPECT_EQ(_wfopen(path, L"wx"), nullptr);
    EXPECT_EQ(test::read_file(file), "a\nb");
}

TEST(OpenStream, RefusesWithTheErrorOfTheRuntime)
{
    const std::string folder = test::make_folder("refused");
    const std::string file = folder + "/file";
    test::write_file(file, "kept");
    EXPECT_EQ(error_of(test::windows_form(folder + "/missing"), L"rb"), ENOENT);
    EXPECT_EQ(error_of(test::windows_form(folder), L"rb"), EACCES);
    EXPECT_EQ(error_of(test::windows_form(file), L"q"), EINVAL);
    ASSERT_EQ(chmod(file.c_str(), 0444), 0);
    EXPECT_EQ(error_of(test::windows_form(file), L"wb"), EACCES);
    EXPECT_EQ(error_of(test::windows_form(file), L"r+"), EACCES);
    EXPECT_EQ(test::read_file(file), "kept");
    EXPECT_EQ(error_of(test::windows_form(file), L"rb"), 0);
}

class SharedStream : public testing::Test
{
protected:
    SharedStream() { test::write_file(m_file, "content"); }
    ~SharedStream() override { PlinthTestReset(); }
    int error(const wchar_t* mode) const { return error_of(m_path, mode); }
    HANDLE open_handle(DWORD access, DWORD share) const
    {
        return CreateFileW(m_path, access, share, nullptr, OPEN_EXISTING, 0, nullptr);
    }
    DWORD error_of_handle(DWORD access, DWORD share) const
    {
        const HANDLE handle = open_handle(access, share);
        if (handle == INVALID_HANDLE_VALUE)
            return GetLastError();
        CloseHandle(handle);
        return 0;
    }
    const std::string m_folder = test::make_folder_outside("shared_stream");
    const std::string m_file = m_folder + "/file";
    const test::Wide m_path = test::windows_form(m_file);
};

TEST_F(SharedStream, IsRefusedWhatAnotherHolderDeniesAndLeavesTheFile)
{
    const auto before = test::entries("/proc/self/fd");
    std::filesystem::create_symlink(m_file, m_folder + "/link");
    std::filesystem::create_hard_link(m_file, m_folder + "/hard");
    const HANDLE reader = open_handle(GENERIC_READ, FILE_SHARE_READ);
    for (const wchar_t* const mode : {L"wb", L"a+", L"r+b"})
        for (const char* const name : {"/file", "/link", "/hard"})
        {
            SetLastError(0);
            EXPECT_EQ(error_of(test::windows_form(m_folder + name), mode), EACCES)
                << test::utf8(mode) << name;
            EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION) << test::utf8(mode) << name;
        }
    EXPECT_EQ(error(L"rb"), 0);
    CloseHandle(reader);
    const HANDLE writer = open_handle(GENERIC_WRITE, FILE_SHARE_WRITE);
    EXPECT_EQ(error(L"rb"), EACCES);
    EXPECT_EQ(error(L"ab"), 0);
    CloseHandle(writer);
    EXPECT_EQ(test::read_file(m_file), "content");
    EXPECT_EQ(test::entries("/proc/self/fd"), before);
}

TEST_F(SharedStream, DeniesOthersNothingButDeletionUntilItIsClosed)
{
    FILE* const writing = _wfopen(m_path, L"ab");
    FILE* const reading = _wfopen(m_path, L"rb");
    ASSERT_TRUE(writing && reading) << "of themselves they share all";
    EXPECT_EQ(error_of_handle(GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE),
              0u);
    EXPECT_EQ(error_of_handle(GENERIC_READ, FILE_SHARE_READ), ERROR_SHARING_VIOLATION);
    std::fclose(writing);
    EXPECT_EQ(error_of_handle(GENERIC_READ, FILE_SHARE_READ), 0u);
    EXPECT_FALSE(DeleteFileW(m_path));
    std::fclose(reading);
    EXPECT_TRUE(DeleteFileW(m_path));
}

TEST_F(SharedStream, ThatFailsHalfWayLeavesTheContentAndNothingOpen)
{
    const auto before = test::entries("/proc/self/fd");
    const std::pair<const char*, int> rows[] = {
        {"open", EMFILE}, {"fstat", EIO}, {"fdopen", ENOMEM}, {"ftruncate", EIO}};
    for (const auto& [call, fault] : rows)
    {
        PlinthTestFail(call, 1, 1, fault);
        EXPECT_EQ(error(L"wb"), fault) << call;
        PlinthTestReset();
        EXPECT_EQ(test::read_file(m_file), "content") << call;
        EXPECT_EQ(test::entries("/proc/self/fd"), before) << call;
    }
    PlinthTestFail("open", 1, 1, EACCES); // as for a file with write access alone
    EXPECT_EQ(error(L"wb"), 0);
}

// A file that isn't regular has no share modes and can't be cut, and is opened for one direction:
// opening a pipe for both wouldn't wait for its reader, and written data would be lost.
TEST_F(SharedStream, OfAPipeIsOpenForWritingAlone)
{
    const std::string pipe = m_folder + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    FILE* const stream = _wfopen(test::windows_form(pipe), L"wb");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(fcntl(fileno(stream), F_GETFL) & O_ACCMODE, O_WRONLY);
    std::fputs("through it", stream);
    std::fclose(stream);
    char text[32] = "";
    EXPECT_EQ(read(reader, text, sizeof text), 10);
    close(reader);
    EXPECT_EQ(error_of(L"C:\\dev\\null", L"w+"), 0);
}

// ---- paths

std::string split(const wchar_t* path)
{
    wchar_t drive[_MAX_DRIVE];
    wchar_t folder[_MAX_DIR];
    wchar_t name[_MAX_FNAME];
    wchar_t extension[_MAX_EXT];
    _wsplitpath(path, drive, folder, name, extension);
    return test::utf8(drive) + '|' + test::utf8(folder) + '|' + test::utf8(name) + '|' +
           test::utf8(extension);
}

TEST(SplitPath, PartsKeepTheirSeparatorsAndAreCutToTheirBuffers)
{
    EXPECT_EQ(split(L"C:\\logs/app\\name.tar.gz"), "C:|\\logs/app\\|name.tar|.gz");
    EXPECT_EQ(split(L"name"), "||name|");
    EXPECT_EQ(split(L"\\\\server\\share\\x"), "|\\\\server\\share\\|x|");
    EXPECT_EQ(split(L".profile"), "|||.profile");
    const std::string cut(255, 'x');
    const std::string too_long(400, 'x');
    EXPECT_EQ(split(test::Wide(too_long + "\\" + too_long + "." + too_long)),
              '|' + cut + '|' + cut + "|." + cut.substr(1));
}

TEST(Access, ReadOnlyHoldsForEveryUser)
{
    const std::string file = test::make_folder("access") + "/file";
    test::write_file(file, "x");
    ASSERT_EQ(chmod(file.c_str(), 0444), 0);
    EXPECT_EQ(_waccess(test::windows_form(file), 4), 0);
    EXPECT_EQ(_waccess(test::windows_form(file), 2), -1);
    EXPECT_EQ(errno, EACCES);
}

} // namespace
