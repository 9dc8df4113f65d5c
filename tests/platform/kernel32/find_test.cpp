// Directory searches: what matches, in which order, with which data.
#include <filesystem>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <windows.h>

#include "support/environment.h"
#include "support/handles.h"

namespace
{

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
    // The names that match, in the order in which they come; folders with a slash.
    std::string found(const std::string& pattern)
    {
        std::string names;
        WIN32_FIND_DATAW data;
        const HANDLE search = FindFirstFileW(path(pattern), &data);
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
    // '_' stands behind the capitals, which is what is compared.
    EXPECT_EQ(found("*"), "./ ../ A aB a_ b Z10 z9 _ \xc3\xa9 \xc3\x89X");
}

TEST_F(Find, FollowsTheSystemsWildcards)
{
    make({"a", "a.b", "ab.txt", "abc.txt", "abcd.TXT", "x.txt.bak", ".hidden"});
    static constexpr std::pair<const char*, const char*> rows[] = {
        {"*.*", "./ ../ .hidden a a.b ab.txt abc.txt abcd.TXT x.txt.bak"},
        {"*.txt", "ab.txt abc.txt abcd.TXT"},
        {"A*.TxT", "ab.txt abc.txt abcd.TXT"},
        {"ab?.txt", "ab.txt abc.txt"}, // a '?' before a dot or the end may stand for nothing
        {"ab??.txt", "ab.txt abc.txt abcd.TXT"},
        {"?b.txt", "ab.txt"},
        {"a??", "a"},
        {"a.*", "a a.b"}, // as may a dot with nothing but a wildcard behind it
        {"a.?", "a a.b"},
        {"a*.", "a"}, // a dot at the end: names without one
        {"*b*c*", "abc.txt abcd.TXT"},
        {"*.bak", "x.txt.bak"},
        {"ab.txt", "ab.txt"},
    };
    for (const auto& [pattern, names] : rows)
        EXPECT_EQ(found(pattern), names) << pattern;
    // A '?' never stands for a dot; without a wildcard a dot at the end is part of the name.
    for (const char* const none : {"a?b", "a.b.", "*.none", "none", ""})
        EXPECT_EQ(found(none), "error 2") << none;
    for (const char* const no_folder : {"none\\*", "none\\none", "a\\*"}) // the last in a file
        EXPECT_EQ(found(no_folder), "error 3") << no_folder;
}

TEST_F(Find, TellsSizesAttributesAndLinks)
{
    make({"file", "locked"});
    std::filesystem::create_directory(m_folder + "/folder");
    std::filesystem::create_symlink(m_folder + "/folder", m_folder + "/to-folder");
    std::filesystem::create_symlink(m_folder + "/none", m_folder + "/to-none");
    ASSERT_TRUE(SetFileAttributesW(path("locked"), FILE_ATTRIBUTE_READONLY));
    std::filesystem::resize_file(m_folder + "/file", 0x1'0000'0003);
    static constexpr std::pair<const char*, DWORD> rows[] = {
        {"file", FILE_ATTRIBUTE_NORMAL},
        {"folder", FILE_ATTRIBUTE_DIRECTORY},
        {"locked", FILE_ATTRIBUTE_READONLY},
        {"to-folder", FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT},
        {"to-none", FILE_ATTRIBUTE_REPARSE_POINT}};
    WIN32_FIND_DATAW data;
    for (const auto& [name, attributes] : rows)
    {
        ASSERT_TRUE(FindClose(FindFirstFileW(path(name), &data))) << name;
        EXPECT_EQ(data.dwFileAttributes, attributes) << name;
    }
    ASSERT_TRUE(FindClose(FindFirstFileW(path("file"), &data)));
    EXPECT_EQ(std::pair(data.nFileSizeHigh, data.nFileSizeLow), std::pair(1u, 3u));
}

TEST_F(Find, PassesOverWhatWasRemovedMeanwhile)
{
    make({"ax", "bx", "cx"});
    WIN32_FIND_DATAW data;
    const HANDLE search = FindFirstFileW(path("?x"), &data);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    EXPECT_EQ(test::utf8(data.cFileName), "ax");
    std::filesystem::remove(m_folder + "/bx");
    EXPECT_TRUE(FindNextFileW(search, &data));
    EXPECT_EQ(test::utf8(data.cFileName), "cx");
    std::filesystem::remove_all(m_folder);
    EXPECT_FALSE(FindNextFileW(search, &data));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_FILES});
    EXPECT_TRUE(FindClose(search));
}

TEST_F(Find, KeepsItsHandlesApartFromOthers)
{
    WIN32_FIND_DATAW data;
    make({"file"});
    const test::Handle file(test::open_file(path("file"), GENERIC_READ));
    EXPECT_EQ(test::error_of(FindClose(file)), ERROR_INVALID_HANDLE);
    EXPECT_EQ(test::error_of(FindNextFileW(file, &data)), ERROR_INVALID_HANDLE);
    const HANDLE search = FindFirstFileW(path("*"), &data);
    DWORD moved = 0;
    EXPECT_EQ(test::error_of(ReadFile(search, &data, 1, &moved, nullptr)), ERROR_INVALID_HANDLE);
    EXPECT_TRUE(FindClose(search));
    EXPECT_FALSE(FindClose(search));
}

} // namespace
