// Paths in the forms of callers and of the system; directory searches: matches, their order and
// their data.

#include "support/test.h"

#include <plinth_platform.h>

#include "support/environment.h"
#include "support/handles.h"

namespace
{

using test::error_of;

// The native form, or "error" and the last error for a path that has none.
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
        {L"C:\\", "/"},
        {L"D:\\x", "/mnt/data/x"},
        {L"\\x\\y", "/x/y"},
        {L"x\\y", "x/y"},
        {L"\\\\?\\C:\\x", "/x"},
        {L"C:\\\xd800x", "/\xef\xbf\xbdx"}, // half a surrogate pair
        {L"C:\\\xd83d\xde00", "/\xf0\x9f\x98\x80"},
        // "." and ".." are resolved in the text of the path, whatever the folders are.
        {L"C:\\a\\..\\b", "/b"},
        {L"C:\\a\\b\\..\\..\\..\\..\\c", "/c"},
        {L"C:\\a\\b\\..", "/a"},
        {L"C:\\a\\...\\.b", "/a/.../.b"},
        {L"D:\\..\\x", "/mnt/data/x"},
        {L"..\\x\\..\\y", "../y"},
        // Without a separator: in the current folder of the drive. For another drive than the
        // process's own that is the drive's root.
        {L"D:x", "/mnt/data/x"},
        {L"D:", "/mnt/data/"},
        {L"C:", "."},
        {L"C:x\\..\\y", "y"},
        {L"c:..\\x", "../x"},
        {L"x\\..", "."},
        {L".\\x", "x"}};
    for (const auto& [path, expected] : rows)
        EXPECT_EQ(native(path), expected) << test::utf8(path);
    // A server in the long form is not a folder named UNC.
    for (const wchar_t* const none :
         {L"F:\\x", L"\\\\?\\UNC\\server\\share\\x", L"\\\\server\\share\\x", L"\\\\.\\pipe\\x",
          L"", static_cast<const wchar_t*>(nullptr)})
        EXPECT_EQ(native(none), "error 3") << (none ? test::utf8(none) : "null");
    std::string longest;
    while (longest.size() < 4095)
        longest += "/x";
    longest.resize(4095);
    EXPECT_EQ(native(test::windows_form(longest)), longest);
    EXPECT_EQ(native(test::windows_form(longest + "x")), "error 206");
}

TEST(Paths, NeedRoomForTheirNativeForm)
{
    char buffer[8] = "before";
    EXPECT_EQ(PlinthNativePath(L"C:\\1234567", buffer, sizeof buffer), 0u);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_STREQ(buffer, "before");
    EXPECT_EQ(PlinthNativePath(L"C:\\123456", buffer, sizeof buffer), 7u);
}

TEST(Paths, ComeBackWithTheClosestDrive)
{
    const std::string data = test::make_folder("data");
    std::filesystem::create_directories(data + "/inner/x");
    setenv("PLINTH_DRIVES", ("D=" + data + ";E=" + data + "/inner").c_str(), 1);
    wchar_t buffer[1024];
    const std::pair<std::string, const char*> rows[] = {
        {data + "/inner/x", "E:\\x"}, {data, "D:\\"}, {"/", "C:\\"}};
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
}

TEST(Paths, OfTheTemporaryFolderFitTheirBuffer)
{
    wchar_t buffer[MAX_PATH + 1];
    // Callers have no room for a longer path than the system ever returns.
    setenv("TMPDIR", ("/" + std::string(400, 'x')).c_str(), 1);
    setenv("TEMP", "/some/where/", 1);
    EXPECT_EQ(GetTempPathW(MAX_PATH + 1, buffer), 14u);
    EXPECT_EQ(test::utf8(buffer), "C:\\some\\where\\");
    unsetenv("TEMP");
    EXPECT_EQ(GetTempPathW(MAX_PATH + 1, buffer), 7u);
    EXPECT_EQ(test::utf8(buffer), "C:\\tmp\\");
    EXPECT_EQ(GetTempPathW(7, buffer), 8u) << "the room needed, with the terminator";
}

class Find : public testing::Test
{
protected:
    void make(const std::vector<std::string>& names)
    {
        for (const std::string& name : names)
            test::write_file(m_folder + "/" + name, name);
    }
    test::Wide path(const std::string& name) const
    {
        return test::windows_form(m_folder + "/" + name);
    }
    // The matching names in their order; folders with a slash.
    std::string found(const std::string& pattern) { return listed(path(pattern)); }
    static std::string listed(const wchar_t* pattern)
    {
        std::string names;
        WIN32_FIND_DATAW data;
        const HANDLE search = FindFirstFileW(pattern, &data);
        if (search == INVALID_HANDLE_VALUE)
            return "error " + std::to_string(GetLastError());
        do
            names += (names.empty() ? "" : " ") + test::utf8(data.cFileName) +
                     (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY ? "/" : "");
        while (FindNextFileW(search, &data));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_FILES});
        EXPECT_TRUE(FindClose(search));
        return names;
    }
    std::string m_folder = test::make_folder("find");
};

TEST_F(Find, GivesNamesInTheOrderOfTheirCapitals)
{
    make({"b", "A", "a_", "aB", "_", "\xc3\xa9", "\xc3\x89X", "Z10", "z9"});
    // '_' sorts after the capitals; names are compared in capitals.
    EXPECT_EQ(found("*"), "./ ../ A aB a_ b Z10 z9 _ \xc3\xa9 \xc3\x89X");
}

TEST_F(Find, FollowsTheSystemsWildcards)
{
    make({"a", "a.b", "ab.txt", "abc.txt", "abcd.TXT", "x.txt.bak", ".hidden"});
    static constexpr std::pair<const char*, const char*> rows[] = {
        {"*.*", "./ ../ .hidden a a.b ab.txt abc.txt abcd.TXT x.txt.bak"},
        {"*.txt", "ab.txt abc.txt abcd.TXT"},
        {"ab?.txt", "ab.txt abc.txt"}, // '?' may match nothing before a dot or the end
        {"a??", "a"},
        {"a.*", "a a.b"},  // the same for a dot before a wildcard at the end
        {"a*.", "a"},      // a dot at the end: names without one
        {"a*.?", "a a.b"}, // '*' before a dot ends at the name's last dot
        {"?*c?.*xt", "abc.txt abcd.TXT"},
        {"a?c*.??t", "abc.txt abcd.TXT"},
        {"*b*c*", "abc.txt abcd.TXT"},
    };
    for (const auto& [pattern, names] : rows)
        EXPECT_EQ(found(pattern), names) << pattern;
    // A '?' never matches a dot; without a wildcard a dot at the end is part of the name.
    for (const char* const none : {"a?b", "a.b.", "*.none", "ab*.??"})
        EXPECT_EQ(found(none), "error 2") << none;
    EXPECT_EQ(found("none\\*"), "error 3");
}

TEST_F(Find, SearchesTheCurrentFolderOfADriveWithoutASeparator)
{
    const std::string data = test::make_folder("data");
    test::write_file(data + "/d.txt", "");
    make({"a.txt"});
    setenv("PLINTH_DRIVES", ("D=" + data).c_str(), 1);
    std::filesystem::current_path(m_folder);
    wchar_t buffer[1024];
    const auto searched = [&](const wchar_t* folder, const wchar_t* name)
    { return SearchPathW(folder, name, nullptr, 1024, buffer, nullptr) ? test::utf8(buffer) : ""; };
    const std::string file = test::utf8(path("a.txt"));
    EXPECT_EQ(listed(L"C:*.txt"), "a.txt");
    EXPECT_EQ(listed(L"C:a.txt"), "a.txt");
    EXPECT_EQ(listed(L"C:"), std::filesystem::path(m_folder).filename().string() + "/");
    EXPECT_EQ(listed(L"D:*.txt"), "d.txt");
    EXPECT_EQ(searched(L"C:", L"a.txt"), file);
    EXPECT_EQ(searched(L"D:\\", L"C:a.txt"), file) << "a name with a drive has its folder";
    ASSERT_TRUE(GetFullPathNameW(L"C:", 1024, buffer, nullptr));
    EXPECT_EQ(test::utf8(buffer) + "\\a.txt", file);
    EXPECT_TRUE(SetCurrentDirectoryW(L"C:"));
    EXPECT_EQ(std::filesystem::current_path(), m_folder);
    EXPECT_TRUE(SetCurrentDirectoryW(L"D:"));
    EXPECT_EQ(listed(L"D:*.txt"), "d.txt");
    EXPECT_EQ(listed(L"C:"), "error 2") << "the current folder is on another drive";
}

TEST_F(Find, TellsSizesAttributesAndLinks)
{
    make({"file", "locked"});
    std::filesystem::create_directory(m_folder + "/folder");
    std::filesystem::create_symlink(m_folder + "/folder", m_folder + "/to-folder");
    std::filesystem::create_symlink(m_folder + "/none", m_folder + "/to-none");
    ASSERT_TRUE(SetFileAttributesW(path("locked"), FILE_ATTRIBUTE_READONLY));
    std::filesystem::resize_file(m_folder + "/file", 0x1'0000'0003);
    WIN32_FIND_DATAW data;
    for (const auto& [name, attributes] :
         {std::pair{"locked", FILE_ATTRIBUTE_READONLY},
          {"to-folder", FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT},
          {"to-none", FILE_ATTRIBUTE_REPARSE_POINT},
          {"file", FILE_ATTRIBUTE_NORMAL}})
    {
        ASSERT_TRUE(FindClose(FindFirstFileW(path(name), &data))) << name;
        EXPECT_EQ(data.dwFileAttributes, DWORD{attributes}) << name;
    }
    EXPECT_EQ(std::pair(data.nFileSizeHigh, data.nFileSizeLow), std::pair(1u, 3u)) << "of the file";
}

TEST_F(Find, PassesOverWhatWasRemovedMeanwhile)
{
    make({"ax", "bx", "cx"});
    WIN32_FIND_DATAW data;
    const HANDLE search = FindFirstFileW(path("?x"), &data);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    std::filesystem::remove(m_folder + "/bx");
    EXPECT_TRUE(FindNextFileW(search, &data));
    EXPECT_EQ(test::utf8(data.cFileName), "cx");
    std::filesystem::remove_all(m_folder);
    EXPECT_EQ(error_of(FindNextFileW(search, &data)), ERROR_NO_MORE_FILES);
    EXPECT_TRUE(FindClose(search));
}

} // namespace
