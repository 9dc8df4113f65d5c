// Paths and files of the runtime library.
#include <cerrno>
#include <cstdio>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <io.h>
#include <tchar.h>
#include <windows.h>

#include "support/environment.h"

namespace
{

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

TEST(SplitPath, PartsKeepTheirSeparators)
{
    EXPECT_EQ(split(L"C:\\logs/app\\name.tar.gz"), "C:|\\logs/app\\|name.tar|.gz");
    EXPECT_EQ(split(L"name"), "||name|");
    EXPECT_EQ(split(L"D:name.x"), "D:||name|.x");
    EXPECT_EQ(split(L"\\a.b\\"), "|\\a.b\\||");
    EXPECT_EQ(split(L"\\\\server\\share\\x"), "|\\\\server\\share\\|x|");
    EXPECT_EQ(split(L".profile"), "|||.profile");
    EXPECT_EQ(split(L""), "|||");
}

TEST(SplitPath, LongPartsAreCutToTheirBuffers)
{
    const test::Wide path =
        test::Wide(400, L'd') + "\\" + test::Wide(400, L'n') + "." + test::Wide(400, L'e');
    EXPECT_EQ(split(path).size(), 3 * 255u + 3);
    wchar_t name[_MAX_FNAME];
    _wsplitpath(L"C:\\x\\y.z", nullptr, nullptr, name, nullptr);
    EXPECT_EQ(test::utf8(name), "y");
}

TEST(Access, ReadOnlyHoldsForEveryUser)
{
    const std::string folder = test::make_folder("access");
    const std::string file = folder + "/file";
    test::write_file(file, "x");
    const test::Wide path = test::windows_form(file);
    EXPECT_EQ(_waccess(path, 6), 0);
    ASSERT_EQ(chmod(file.c_str(), 0444), 0);
    EXPECT_EQ(_waccess(path, 0), 0);
    EXPECT_EQ(_waccess(path, 4), 0);
    EXPECT_EQ(_waccess(path, 2), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(_waccess(path, 6), -1);
    EXPECT_EQ(_waccess(test::windows_form(folder), 6), 0);
}

TEST(Access, WhatIsMissingHasNone)
{
    errno = 0;
    EXPECT_EQ(_waccess(test::windows_form(test::root() + "/missing"), 0), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(_waccess(L"", 0), -1);
}

TEST(OpenStream, ReadsWritesAndAppends)
{
    const std::string file = test::make_folder("stream") + "/\u00E4.bin";
    const test::Wide path = test::windows_form(file);
    FILE* stream = _wfopen(path, L"wb");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(std::fwrite("a\n", 1, 2, stream), 2u);
    std::fclose(stream);
    stream = _wfopen(path, L"at+");
    ASSERT_NE(stream, nullptr);
    std::fputs("b", stream);
    std::fclose(stream);
    EXPECT_EQ(test::read_file(file), "a\nb");
    stream = _wfopen(path, L"r, ccs=UTF-8");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(std::fgetc(stream), 'a');
    EXPECT_EQ(std::fputc('x', stream), EOF) << "opened for reading only";
    std::fclose(stream);
    EXPECT_EQ(_wfopen(path, L"wx"), nullptr);
    EXPECT_EQ(test::read_file(file), "a\nb");
}

TEST(OpenStream, RefusesWithTheErrorOfTheRuntime)
{
    const std::string folder = test::make_folder("refused");
    const std::string file = folder + "/file";
    test::write_file(file, "kept");
    const auto error = [](const test::Wide& path, const wchar_t* mode)
    {
        errno = 0;
        FILE* const stream = _wfopen(path, mode);
        if (stream)
            std::fclose(stream);
        return stream ? 0 : errno;
    };
    EXPECT_EQ(error(test::windows_form(folder + "/missing"), L"rb"), ENOENT);
    EXPECT_EQ(error(test::windows_form(folder), L"rb"), EACCES);
    EXPECT_EQ(error(test::windows_form(file), L""), EINVAL);
    EXPECT_EQ(error(test::windows_form(file), L"q"), EINVAL);
    EXPECT_EQ(error("", L"rb"), ENOENT);
    ASSERT_EQ(chmod(file.c_str(), 0444), 0);
    EXPECT_EQ(error(test::windows_form(file), L"wb"), EACCES);
    EXPECT_EQ(error(test::windows_form(file), L"r+"), EACCES);
    EXPECT_EQ(test::read_file(file), "kept");
    EXPECT_EQ(error(test::windows_form(file), L"rb"), 0);
}

} // namespace
