
#include "support/test.h"

#include "support/machine_settings.h"
#include "support/wide_text.h"
#include <plinth_w32_system.h>

namespace
{

// One letter for each query that returns true.
std::string answers()
{
    constexpr std::pair<char, bool (*)()> queries[] = {
        {'5', CQvWinVersion::IsWin95},    {'8', CQvWinVersion::IsWin98},
        {'M', CQvWinVersion::IsWinME},    {'3', CQvWinVersion::IsWin35},
        {'4', CQvWinVersion::IsWin40},    {'2', CQvWinVersion::IsWin2k},
        {'x', CQvWinVersion::IsWinXP},    {'X', CQvWinVersion::IsWinXPOrGreater},
        {'v', CQvWinVersion::IsWinVista}, {'V', CQvWinVersion::IsWinVistaOrGreater},
        {'s', CQvWinVersion::IsWin7},     {'S', CQvWinVersion::IsWin7OrGreater},
        {'e', CQvWinVersion::IsWin8},     {'N', CQvWinVersion::IsWinNT}};
    std::string result;
    for (const auto& [letter, query] : queries)
        if (query())
            result += letter;
    return result;
}

TEST(WinVersion, QueriesAnswerFromTheRecord)
{
    const OSVERSIONINFOW real = CQvWinVersion::s_osVersionInfo;
    EXPECT_EQ(real.dwOSVersionInfoSize, 276u);
    EXPECT_NE(real.dwMajorVersion, 0u) << "filled while the library loaded";
    const struct
    {
        DWORD platform, major, minor;
        const char* answers;
    } versions[] = {{1, 4, 10, "8"},    {2, 4, 0, "4N"},    {2, 5, 1, "xXN"},  {2, 6, 0, "XvVN"},
                    {2, 6, 1, "XVsSN"}, {2, 6, 2, "XVSeN"}, {2, 10, 0, "XVSN"}};
    for (const auto& [platform, major, minor, expected] : versions)
    {
        CQvWinVersion::s_osVersionInfo = {276, major, minor, 0, platform, {}};
        EXPECT_EQ(answers(), expected) << platform << ": " << major << "." << minor;
    }
    CQvWinVersion::s_osVersionInfo = real;
    OSVERSIONINFOW copy;
    CQvWinVersion::GetOSVersionInfo(copy);
    EXPECT_EQ(std::memcmp(&copy, &real, sizeof copy), 0);
}

TEST(Identity, TellsTheBuildAndItsModules)
{
    EXPECT_TRUE(QV_Is64Bit());
    EXPECT_FALSE(QV_Is32Bit());
    EXPECT_TRUE(QV_Is64BitWindows());
    EXPECT_EQ(test::utf8(QV_GetDllPref()) + "x" + test::utf8(QV_GetDllExt()), "x.dll");
    wchar_t path[1024] = L"";
    EXPECT_EQ(QV_GetModuleFileName(nullptr, path, 1024), QV_OK);
    EXPECT_NE(test::utf8(path).find("w32_system_frame_tests"), std::string::npos);
    EXPECT_EQ(QV_GetModuleFileName(reinterpret_cast<HMODULE>(uintptr_t{0x1230}), path, 1024), QV_OK)
        << "the system's failure is not passed on";
}

struct LocalOption : testing::Test
{
    void set_registry(DWORD number) { m_settings.set("LocalOptions", number); }
    test::MachineSettings m_settings{L"SOFTWARE\\Quorvane\\Misc"};
};

// Each in a process of its own, since the first answer is kept.
TEST_F(LocalOption, IsReadOnceAndOnlyOneCounts)
{
    set_registry(2);
    EXPECT_FALSE(QV_IsLocalOption(nullptr));
    set_registry(1);
    EXPECT_FALSE(QV_IsLocalOption(L"anything"));
    QV_SetLocalOption(true);
    EXPECT_TRUE(QV_IsLocalOption(nullptr));
}

TEST_F(LocalOption, ComesFromTheRegistryUnlessItIsSet)
{
    set_registry(1);
    EXPECT_TRUE(QV_IsLocalOption(nullptr));
    QV_SetLocalOption(false);
    EXPECT_FALSE(QV_IsLocalOption(nullptr));
}

} // namespace
