// Directory searches: what matches, in which order, with which data.
#include <filesystem>
#include <vector>

#include <gtest/gtest.h>

#include <windows.h>

#include "support/environment.h"

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
    const struct
    {
        const char* pattern;
        const char* names;
    } rows[] = {
        {"*.*", "./ ../ .hidden a a.b ab.txt abc.txt abcd.TXT x.txt.bak"},
        {"*.txt", "ab.txt abc.txt abcd.TXT"},
        {"A*.TxT", "ab.txt abc.txt abcd.TXT"},
        {"ab?.txt", "ab.txt abc.txt"}, // a '?' before a dot or the end may stand for nothing
        {"ab??.txt", "ab.txt abc.txt abcd.TXT"},
        {"?b.txt", "ab.txt"},
        {"a?b", "error 2"}, // but never for a dot
        {"a??", "a"},
        {"a.*", "a a.b"}, // as may a dot with nothing but a wildcard behind it
        {"a.?", "a a.b"},
        {"a*.", "a"},        // a dot at the end: names without one
        {"a.b.", "error 2"}, // a name: as an open has it
        {"*b*c*", "abc.txt abcd.TXT"},
        {"*.bak", "x.txt.bak"},
        {"*.none", "error 2"},
        {"none\\*", "error 3"},
        {"none", "error 2"},
        {"none\\none", "error 3"},
        {"ab.txt", "ab.txt"},
        {"", "error 2"},
        {"a\\*", "error 3"}, // in a file
    };
    for (const auto& row : rows)
        EXPECT_EQ(found(row.pattern), row.names) << row.pattern;
}

TEST_F(Find, TellsSizesAttributesAndLinks)
{
    make({"file", "locked"});
    std::filesystem::create_directory(m_folder + "/folder");
    std::filesystem::create_symlink(m_folder + "/folder", m_folder + "/to-folder");
    std::filesystem::create_symlink(m_folder + "/none", m_folder + "/to-none");
    ASSERT_TRUE(SetFileAttributesW(path("locked"), FILE_ATTRIBUTE_READONLY));
    std::filesystem::resize_file(m_folder + "/file", 0x1'0000'0003);
    const struct
    {
        const char* name;
        DWORD attributes;
    } rows[] = {{"file", FILE_ATTRIBUTE_NORMAL},
                {"folder", FILE_ATTRIBUTE_DIRECTORY},
                {"locked", FILE_ATTRIBUTE_READONLY},
                {"to-folder", FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT},
                {"to-none", FILE_ATTRIBUTE_REPARSE_POINT}};
    for (const auto& row : rows)
    {
        WIN32_FIND_DATAW data;
        const HANDLE search = FindFirstFileW(path(row.name), &data);
        ASSERT_NE(search, INVALID_HANDLE_VALUE) << row.name;
        EXPECT_EQ(data.dwFileAttributes, row.attributes) << row.name;
        if (row.name == std::string("file"))
        {
            EXPECT_EQ(data.nFileSizeHigh, 1u);
            EXPECT_EQ(data.nFileSizeLow, 3u);
        }
        EXPECT_TRUE(FindClose(search));
    }
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
    const HANDLE file = CreateFileW(path("file"), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_FALSE(FindClose(file));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_FALSE(FindNextFileW(file, &data));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_TRUE(CloseHandle(file));
    const HANDLE search = FindFirstFileW(path("*"), &data);
    DWORD moved = 0;
    EXPECT_FALSE(ReadFile(search, &data, 1, &moved, nullptr));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_TRUE(FindClose(search));
    EXPECT_FALSE(FindClose(search));
}

} // namespace
