// Paths of the runtime library.
#include <cerrno>
#include <sys/stat.h>

#include <gtest/gtest.h>

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

TEST(SplitPath, PartsKeepTheirSeparatorsAndAreCutToTheirBuffers)
{
    EXPECT_EQ(split(L"C:\\logs/app\\name.tar.gz"), "C:|\\logs/app\\|name.tar|.gz");
    EXPECT_EQ(split(L"name"), "||name|");
    EXPECT_EQ(split(L"D:name.x"), "D:||name|.x");
    EXPECT_EQ(split(L"\\a.b\\"), "|\\a.b\\||");
    EXPECT_EQ(split(L"\\\\server\\share\\x"), "|\\\\server\\share\\|x|");
    EXPECT_EQ(split(L".profile"), "|||.profile");
    EXPECT_EQ(split(L""), "|||");
    const std::string cut(255, 'x');
    const std::string tooLong(400, 'x');
    EXPECT_EQ(split(test::Wide(tooLong + "\\" + tooLong + "." + tooLong)),
              '|' + cut + '|' + cut + "|." + cut.substr(1));
    wchar_t name[_MAX_FNAME];
    _wsplitpath(L"C:\\x\\y.z", nullptr, nullptr, name, nullptr);
    EXPECT_EQ(test::utf8(name), "y");
}

TEST(Access, ReadOnlyHoldsForEveryUserAndWhatIsMissingHasNone)
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
    EXPECT_EQ(_waccess(test::windows_form(folder + "/missing"), 0), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(_waccess(L"", 0), -1);
}

} // namespace
