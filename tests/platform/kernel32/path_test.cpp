// Paths as callers give them, and what comes back.
#include <cstdlib>
#include <filesystem>
#include <utility>

#include <gtest/gtest.h>

#include <plinth_platform.h>
#include <windows.h>

#include "support/environment.h"

namespace
{

// The native form, "" with the last error for a path that has none.
std::string native(const wchar_t* path)
{
    char buffer[8192];
    const size_t length = PlinthNativePath(path, buffer, sizeof buffer);
    EXPECT_TRUE(length == 0 || length == std::string(buffer).size());
    return length ? buffer : "error " + std::to_string(GetLastError());
}

TEST(Paths, HaveOneNativeForm)
{
    setenv("PLINTH_DRIVES", "d=/mnt/data/;E=/;C=/nowhere;F=relative;;G=", 1);
    static constexpr std::pair<const wchar_t*, const char*> rows[] = {
        {L"C:\\var\\log", "/var/log"},
        {L"c:/var//log", "/var//log"},
        {L"C:", "/"},
        {L"C:\\", "/"},
        {L"D:\\x", "/mnt/data/x"},
        {L"d:", "/mnt/data/"},
        {L"E:\\x", "/x"},
        {L"\\x\\y", "/x/y"},
        {L"x\\y", "x/y"},
        {L"\\\\?\\C:\\x", "/x"},
        {L"C:\\\xd800x", "/\xef\xbf\xbdx"}, // half a pair
        {L"C:\\x\xdc00", "/x\xef\xbf\xbd"},
        {L"C:\\\xd83d\xde00", "/\xf0\x9f\x98\x80"},
        // "." and ".." are letters of the path, whatever the folders are.
        {L"C:\\a\\..\\b", "/b"},
        {L"C:\\a\\.\\b", "/a/b"},
        {L"C:\\a\\b\\..\\..\\..\\..\\c", "/c"},
        {L"C:\\a\\b\\..", "/a"},
        {L"C:\\a\\b\\.", "/a/b"},
        {L"C:\\a\\..\\", "/"},
        {L"C:\\a\\...\\.b", "/a/.../.b"},
        {L"D:\\..\\x", "/mnt/data/x"},
        {L"..\\x\\..\\y", "../y"},
        {L"..\\..\\x", "../../x"},
        {L"x\\..", "."},
        {L".", "."},
        {L".\\x", "x"}};
    for (const auto& [path, expected] : rows)
        EXPECT_EQ(native(path), expected) << test::utf8(path);
    // A server in the long form is not a folder named UNC.
    for (const wchar_t* const none :
         {L"F:\\x", L"G:\\x", L"Q:\\x", L"\\\\?\\UNC\\server\\share\\x", L"\\\\?\\x", L"\\\\?\\",
          L"\\\\server\\share\\x", L"\\\\.\\pipe\\x", L"", static_cast<const wchar_t*>(nullptr)})
        EXPECT_EQ(native(none), "error 3") << (none ? test::utf8(none) : "null");
    for (const wchar_t* const wild : {L"C:\\x*", L"C:\\x?"})
        EXPECT_EQ(native(wild), "error 123") << test::utf8(wild);
    EXPECT_EQ(native(test::Wide(5000, L'x')), "error 206");
    EXPECT_EQ(native(test::Wide(4095, L'x')), std::string(4095, 'x'));
    EXPECT_EQ(native(test::Wide(4096, L'x')), "error 206");
}

TEST(Paths, NeedRoomForTheirNativeForm)
{
    char buffer[8] = "before";
    EXPECT_EQ(PlinthNativePath(L"C:\\1234567", buffer, sizeof buffer), 0u);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(PlinthNativePath(L"C:\\123456", nullptr, 0), 0u);
    EXPECT_STREQ(buffer, "before");
    EXPECT_EQ(PlinthNativePath(L"C:\\123456", buffer, sizeof buffer), 7u);
}

TEST(Paths, ComeBackWithTheClosestDrive)
{
    const std::string data = test::make_folder("data");
    std::filesystem::create_directories(data + "/inner/x");
    setenv("PLINTH_DRIVES", ("D=" + data + ";E=" + data + "/inner").c_str(), 1);
    wchar_t buffer[1024];
    const std::pair<std::string, const char*> rows[] = {{data + "/inner/x", "E:\\x"},
                                                        {data + "/inner", "E:\\"},
                                                        {data, "D:\\"},
                                                        {"/", "C:\\"},
                                                        {"/usr", "C:\\usr"}};
    for (const auto& [folder, windows] : rows)
    {
        std::filesystem::current_path(folder);
        EXPECT_GT(GetCurrentDirectoryW(1024, buffer), 0u);
        EXPECT_EQ(test::utf8(buffer), windows);
    }
    EXPECT_EQ(GetLogicalDriveStringsW(0, nullptr), 13u);
    ASSERT_EQ(GetLogicalDriveStringsW(1024, buffer), 12u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(buffer), 26),
              std::string(reinterpret_cast<const char*>(u"C:\\\0D:\\\0E:\\\0"), 26));
    EXPECT_EQ(GetDriveTypeW(L"Q:\\"), UINT{DRIVE_NO_ROOT_DIR});
    EXPECT_EQ(GetDriveTypeW(L"C:\\"), UINT{DRIVE_FIXED});
}

TEST(Paths, OfTheTemporaryFolderFitTheirBuffer)
{
    wchar_t buffer[MAX_PATH + 1];
    // No caller has room for a longer one than the system ever gives.
    setenv("TMPDIR", ("/" + std::string(400, 'x')).c_str(), 1);
    setenv("TMP", "relative", 1);
    setenv("TEMP", "/some/where/", 1);
    EXPECT_EQ(GetTempPathW(MAX_PATH + 1, buffer), 14u);
    EXPECT_EQ(test::utf8(buffer), "C:\\some\\where\\");
    unsetenv("TEMP");
    EXPECT_EQ(GetTempPathW(MAX_PATH + 1, buffer), 7u);
    EXPECT_EQ(test::utf8(buffer), "C:\\tmp\\");
    EXPECT_EQ(GetTempPathW(7, buffer), 8u) << "the room needed, with the terminator";
}

} // namespace
