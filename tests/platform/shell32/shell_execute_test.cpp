// Opening a document with the desktop's program, and the user's folders.

#include <sys/stat.h>

#include "support/test.h"

#include <shellapi.h>
#include <shlobj.h>

#include "support/environment.h"

namespace
{

INT_PTR open(const wchar_t* file, const wchar_t* parameters)
{
    return reinterpret_cast<INT_PTR>(
        ShellExecuteW(nullptr, L"open", file, parameters, nullptr, SW_SHOWNORMAL));
}

class ShellExecute : public testing::Test
{
protected:
    // The opener writes its arguments, then opens the pipe that the test waits on.
    ShellExecute()
    {
        const std::string program = m_folder + "/opener";
        test::write_file(program,
                         "#!/bin/sh\nprintf '%s|%s' \"$#\" \"$1\" >'" + m_folder + "/said'\n");
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
        mkfifo((m_folder + "/said").c_str(), 0600);
        setenv("PLINTH_SHELL_OPEN", program.c_str(), 1);
    }
    std::string said() const { return test::read_file(m_folder + "/said"); }
    std::string m_folder = test::make_folder("shell");
};

TEST_F(ShellExecute, HandsTheDocumentToTheDesktopsProgram)
{
    const std::string document = m_folder + "/a document.log";
    test::write_file(document, "x");
    EXPECT_GT(open(L"notepad", test::windows_form(document)), 32);
    EXPECT_EQ(said(), "1|" + document);
    // A name that begins with a dash is not taken for an option.
    std::filesystem::current_path(m_folder);
    test::write_file(m_folder + "/-v", "x");
    EXPECT_GT(open(L"-v", nullptr), 32);
    EXPECT_EQ(said(), "1|./-v");
}

TEST_F(ShellExecute, TellsWhatCannotBeOpened)
{
    EXPECT_EQ(open(L"notepad", test::windows_form(m_folder + "/none")), ERROR_FILE_NOT_FOUND);
    unsetenv("PLINTH_SHELL_OPEN");
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    EXPECT_LE(open(test::windows_form(m_folder), nullptr), 32) << "nobody is there to see it";
    setenv("PLINTH_SHELL_OPEN", (m_folder + "/none").c_str(), 1);
    EXPECT_LE(open(test::windows_form(m_folder), nullptr), 32) << "there is no such program";
}

std::string known_folder(int number)
{
    wchar_t path[MAX_PATH] = L"";
    return SHGetFolderPathW(nullptr, number, nullptr, 0, path) == S_OK ? test::utf8(path) : "";
}

TEST(KnownFolders, FollowTheUsersSettingsAndHisHome)
{
    setenv("HOME", "/home/jane", 1);
    unsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(known_folder(CSIDL_PROFILE), "C:\\home\\jane");
    EXPECT_EQ(known_folder(CSIDL_APPDATA), "C:\\home\\jane\\.config");
    setenv("XDG_CONFIG_HOME", "/etc/jane", 1);
    EXPECT_EQ(known_folder(CSIDL_APPDATA), "C:\\etc\\jane");
    // Without the variable: the home in the system's user database.
    unsetenv("HOME");
    EXPECT_NE(known_folder(CSIDL_PROFILE), "C:\\");
    EXPECT_EQ(known_folder(0x77), "");
    EXPECT_EQ(known_folder(CSIDL_COMMON_APPDATA), test::root_path().utf8() + "\\ProgramData");
}

} // namespace
