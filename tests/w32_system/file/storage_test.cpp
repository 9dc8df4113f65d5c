// Where an application keeps its data and its temporary files.
#include <regex>
#include <set>

#include <shlobj.h>

#include "folder.h"

using test::Wide;

namespace
{

std::string path_of(decltype(QV_GetStoragePath)& get, bool without_user)
{
    wchar_t path[300] = L"";
    EXPECT_EQ(get(path, 300, without_user), QV_OK);
    return test::utf8(path);
}

TEST(StorageFolder, IsBuiltFromKnownFolderFolderAndUser)
{
    wchar_t common[MAX_PATH];
    ASSERT_EQ(SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, common), S_OK);
    const std::string base = test::utf8(common);
    EXPECT_EQ(path_of(QV_GetStoragePath, false), base + "\\Quorvane\\Default");
    EXPECT_EQ(path_of(QV_GetRootStoragePath, false), base + "\\Quorvane");

    EXPECT_EQ(QV_SetStorageUser(L"jane"), QV_OK);
    EXPECT_EQ(test::utf8(QV_GetStorageUser()), "jane");
    EXPECT_EQ(path_of(QV_GetStoragePath, false), base + "\\Quorvane\\Default\\jane");
    EXPECT_EQ(path_of(QV_GetStoragePath, true), base + "\\Quorvane\\Default");
    EXPECT_EQ(path_of(QV_GetRootStoragePath, false), base + "\\Quorvane\\Default");
    EXPECT_EQ(path_of(QV_GetRootStoragePath, true), base + "\\Quorvane");
    EXPECT_EQ(QV_SetStorageUser(L""), QV_OK);

    EXPECT_EQ(QV_SetStorageFolder(L"Mine", CSIDL_COMMON_APPDATA), QV_OK);
    unsigned csidl = 0;
    EXPECT_EQ(test::utf8(QV_GetStorageFolder(&csidl)), "Mine");
    EXPECT_EQ(csidl, static_cast<unsigned>(CSIDL_COMMON_APPDATA));
    EXPECT_EQ(path_of(QV_GetStoragePath, false), base + "\\Mine");
    wchar_t tiny[3] = {L'?', L'?', L'?'};
    EXPECT_EQ(QV_GetStoragePath(tiny, 2, false), QV_OK);
    EXPECT_EQ(tiny[2], L'?');

    // An unknown folder, and names that don't fit.
    wchar_t path[300] = L"kept";
    EXPECT_EQ(QV_SetStorageFolder(L"x", 0x7777), QV_OK);
    EXPECT_EQ(QV_GetStoragePath(path, 300, false), QV_ERR_NULLPTR);
    EXPECT_EQ(test::utf8(path), "kept");
    EXPECT_EQ(QV_SetStorageFolder(Wide(100'000, L'f'), CSIDL_COMMON_APPDATA), QV_OK);
    EXPECT_EQ(QV_SetStorageUser(Wide(100'000, L'u')), QV_OK);
    EXPECT_EQ(QV_GetStoragePath(path, 300, false), QV_ERR_SYSTEM);
}

// The requested temporary path, "" for the system's.
std::string requested_temp_path(unsigned size = 300)
{
    wchar_t path[300], system[300];
    EXPECT_TRUE(GetTempPathW(300, system));
    EXPECT_EQ(QV_GetTempPath(path, size), QV_OK);
    return test::utf8(path) == test::utf8(system) ? "" : test::utf8(path);
}

TEST(TempPath, TheRequestedPathCountsIfItFits)
{
    ASSERT_EQ(QV_SetRequestedTempPath(L"C:\\some/where/"), QV_OK);
    EXPECT_EQ(requested_temp_path(), "C:\\some/where/\\") << "only a backslash is a separator";
    ASSERT_EQ(QV_SetRequestedTempPath(Wide(259, L'x')), QV_OK);
    EXPECT_EQ(requested_temp_path(261), std::string(259, 'x') + "\\");
    EXPECT_EQ(requested_temp_path(260), "") << "the system's path when it does not fit";
    EXPECT_EQ(QV_SetRequestedTempPath(Wide(260, L'x')), QV_ERR_SYSTEM);
    EXPECT_EQ(requested_temp_path(), "") << "the request is cleared";
}

struct TempNames : test::InFolder
{
    // The path for the pattern; m_status keeps the status.
    std::string path_of(const wchar_t* directory, const wchar_t* pattern, int create = 0)
    {
        wchar_t result[1024] = L"";
        m_status = QV_GetTempFileName(directory, pattern, create, result, 1024);
        return test::utf8(result);
    }
    // The name for the pattern, in the test's folder.
    std::string name(const wchar_t* pattern, int create = 0)
    {
        const std::string text = path_of(m_directory, pattern, create);
        const std::string prefix = m_directory.utf8() + "\\";
        EXPECT_EQ(text.substr(0, prefix.size()), prefix);
        return text.substr(prefix.size());
    }
    const Wide m_directory = test::windows_form(m_folder);
    int m_status = 0;
};

TEST_F(TempNames, AreJoinedToTheirDirectoryWithOneNumberForAllRunsOfDollars)
{
    std::smatch found;
    const std::string padded = name(L"tmp$$$$$$$$.dat"), twice = name(L"a$b$$$$$$c");
    EXPECT_TRUE(std::regex_match(padded, found, std::regex("tmp000(\\d{5})\\.dat"))) << padded;
    ASSERT_TRUE(std::regex_match(twice, found, std::regex("a(\\d{1,5})b(\\d{6})c"))) << twice;
    EXPECT_EQ(std::stoi(found[1]), std::stoi(found[2])) << "all runs show the same number";
    EXPECT_EQ(path_of(m_directory + L"\\", L"x"), m_directory.utf8() + "\\x");
    ASSERT_EQ(QV_SetRequestedTempPath(m_directory), QV_OK);
    EXPECT_EQ(path_of(nullptr, L"x"), m_directory.utf8() + "\\x");
    EXPECT_EQ(m_status, QV_OK);
    EXPECT_EQ(name(Wide(400, L'n')), std::string(260, 'n'));
}

TEST_F(TempNames, ANameThatIsTakenIsPassedOver)
{
    // Eight calls within a second or two try the same names in the same order.
    std::set<std::string> names;
    for (int i = 0; i < 8; ++i)
    {
        const std::string next = name(L"t$", 1);
        EXPECT_TRUE(names.insert(next).second) << next << " came twice";
        EXPECT_TRUE(exists(next)) << "it was made";
    }
    make("fixed");
    EXPECT_EQ(name(L"fixed"), "fixed");
    EXPECT_EQ(m_status, QV_ERR_OPENFILE) << "the search ends";
}

} // namespace
