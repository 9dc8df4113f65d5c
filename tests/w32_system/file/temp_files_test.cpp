#include <regex>

#include <gtest/gtest.h>

#include "support/files.h"

using test::Wide;

namespace
{

TEST(TempPath, TheRequestedPathCountsIfItFits)
{
    wchar_t path[300];
    ASSERT_EQ(QV_SetRequestedTempPath(L"C:\\some/where/"), QV_OK);
    EXPECT_EQ(QV_GetTempPath(path, 300), QV_OK);
    EXPECT_EQ(test::utf8(path), "C:\\some/where/\\") << "only a backslash counts as separator";

    ASSERT_EQ(QV_SetRequestedTempPath(Wide(259, L'x')), QV_OK);
    EXPECT_EQ(QV_GetTempPath(path, 261), QV_OK);
    EXPECT_EQ(test::utf8(path), std::string(259, 'x') + "\\");
    EXPECT_EQ(QV_GetTempPath(path, 260), QV_OK) << "the system's path when it does not fit";
    EXPECT_NE(test::utf8(path).substr(0, 2), "xx");

    EXPECT_EQ(QV_SetRequestedTempPath(Wide(260, L'x')), QV_ERR_SYSTEM);
    EXPECT_EQ(QV_GetTempPath(path, 300), QV_OK);
    EXPECT_NE(test::utf8(path).substr(0, 2), "xx") << "the request is cleared";
    ASSERT_EQ(QV_SetRequestedTempPath(L"C:\\x"), QV_OK);
    ASSERT_EQ(QV_SetRequestedTempPath(L""), QV_OK);
    EXPECT_EQ(QV_GetTempPath(path, 300), QV_OK);
    EXPECT_NE(test::utf8(path), "C:\\x\\");
}

class TempNames : public testing::Test
{
protected:
    // The name that the pattern gives, "" on failure.
    std::string name(const wchar_t* pattern, int create = 0)
    {
        wchar_t result[1024] = L"";
        m_status = QV_GetTempFileName(m_directory, pattern, create, result, 1024);
        const std::string text = test::utf8(result);
        const std::string prefix = m_directory.utf8() + "\\";
        EXPECT_EQ(text.substr(0, prefix.size()), prefix);
        return text.substr(prefix.size());
    }
    std::string m_folder = test::make_folder("temp");
    Wide m_directory = test::windows_form(m_folder);
    int m_status = 0;
};

TEST_F(TempNames, RunsOfDollarsBecomeOneRandomNumber)
{
    std::smatch found;
    const std::string padded = name(L"tmp$$$$$$$$.dat");
    EXPECT_TRUE(std::regex_match(padded, found, std::regex("tmp000(\\d{5})\\.dat"))) << padded;
    const std::string twice = name(L"a$b$$$$$$c");
    ASSERT_TRUE(std::regex_match(twice, found, std::regex("a(\\d{1,5})b(\\d{6})c"))) << twice;
    EXPECT_EQ(std::stoi(found[1]), std::stoi(found[2])) << "all runs show the same number";
}

TEST_F(TempNames, ANameThatIsTakenIsPassedOver)
{
    // Eight calls within a second or two try the same names in the same order.
    std::string names = ";";
    for (int i = 0; i < 8; ++i)
    {
        const std::string next = name(L"t$", 1);
        EXPECT_EQ(m_status, QV_OK);
        EXPECT_EQ(names.find(";" + next + ";"), std::string::npos) << next << " came twice";
        names += next + ";";
        EXPECT_EQ(QV_AccessFile(test::path_in(m_folder, next), 2), QV_OK) << "it was made";
    }
}

TEST_F(TempNames, TheSearchForAFreeNameEnds)
{
    test::write_file(m_folder + "/fixed", "x");
    EXPECT_EQ(name(L"fixed"), "fixed");
    EXPECT_EQ(m_status, QV_ERR_OPENFILE);
    EXPECT_EQ(name(L"free"), "free");
    EXPECT_EQ(m_status, QV_OK);
    const std::string cut = name(Wide(400, L'n'));
    EXPECT_EQ(cut.size(), 260u) << "a name has at most 260 characters";
}

TEST_F(TempNames, ADirectoryIsJoinedWithOneSeparator)
{
    wchar_t result[1024];
    ASSERT_EQ(QV_GetTempFileName(m_directory + Wide("\\"), L"x", 0, result, 1024), QV_OK);
    EXPECT_EQ(test::utf8(result), m_directory.utf8() + "\\x");
    ASSERT_EQ(QV_GetTempFileName(m_directory + Wide("/"), L"x", 0, result, 1024), QV_OK);
    EXPECT_EQ(test::utf8(result), m_directory.utf8() + "/x");
    ASSERT_EQ(QV_SetRequestedTempPath(m_directory), QV_OK);
    ASSERT_EQ(QV_GetTempFileName(nullptr, L"x", 0, result, 1024), QV_OK);
    EXPECT_EQ(test::utf8(result), m_directory.utf8() + "\\x");
    EXPECT_EQ(QV_GetTempFileName(m_directory + Wide("\\none"), L"x", 1, result, 1024),
              QV_ERR_OPENFILE);
}

} // namespace
