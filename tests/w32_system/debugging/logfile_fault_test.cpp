// Failures below the log, days that pass, and the installer's file.
#include <cerrno>
#include <filesystem>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>

#include "support/files.h"
#include "support/log_files.h"

namespace fs = std::filesystem;

namespace
{

constexpr int64_t day = 86'400'000; // ms

class LogFaults : public testing::Test
{
protected:
    LogFaults() { test::start_log(); }
    ~LogFaults() override
    {
        PlinthTestReset();
        CQvLogFile::CloseLog();
    }
};

TEST_F(LogFaults, AFullDiskIsTheStatusOfTheMessageAndLosesNothingWritten)
{
    EXPECT_EQ(QV_Log(L"kept "), QV_OK);
    PlinthTestFail("write", 1, 1, ENOSPC);
    EXPECT_EQ(QV_Log(L"lost "), QV_ERR_DISKFULL);
    PlinthTestReset();
    PlinthTestFail("write", 1, 1, EIO);
    EXPECT_EQ(QV_Log(L"lost "), QV_ERR_WRITEFILE);
    PlinthTestReset();
    EXPECT_EQ(QV_Log(L"goes on"), QV_OK);
    EXPECT_EQ(test::log_content(), "kept goes on");
}

TEST_F(LogFaults, WithoutAFileOrALocalTimeThereIsNoLogUntilThereIs)
{
    PlinthTestFail("open", 1, 0, EACCES);
    EXPECT_EQ(QV_Log(L"x"), QV_ERR_SYSTEM);
    EXPECT_EQ(CQvLogFile::GetLogFilename(), nullptr);
    EXPECT_FALSE(CQvLogFile::IsPerSession());
    EXPECT_EQ(CQvLogFile::ClearLog(), QV_ERR_SYSTEM);
    PlinthTestReset();
    PlinthTestFail("_localtime64", 1, 0, EINVAL);
    EXPECT_EQ(QV_Log(L"x"), QV_ERR_SYSTEM);
    wchar_t stamp[31] = L"as it was";
    CQvLogFile::curr_time_string(stamp);
    EXPECT_EQ(test::utf8(stamp), "as it was");
    PlinthTestReset();
    EXPECT_EQ(QV_Log(L"now"), QV_OK);
    EXPECT_EQ(test::log_content(), "now");
}

TEST_F(LogFaults, AFolderWhereTheFileShouldBeIsAFailureWithoutDamage)
{
    fs::create_directory(test::log_folder() + "/" + test::log_name(0));
    test::set_log_setting(L"LogPerSession_4", 0);
    EXPECT_EQ(QV_Log(L"x"), QV_ERR_SYSTEM);
    EXPECT_TRUE(fs::is_directory(test::log_folder() + "/" + test::log_name(0)));
    fs::remove(test::log_folder() + "/" + test::log_name(0));
    EXPECT_EQ(QV_Log(L"x"), QV_OK);
}

TEST_F(LogFaults, AFailedSplitKeepsTheOldFile)
{
    EXPECT_EQ(CQvLogFile::SetProperties(1, 10), QV_OK);
    CQvLogFile::SetMaxLogMessageLength(-1);
    EXPECT_EQ(QV_Log(test::Wide(2u << 20, L'x')), QV_OK);
    PlinthTestFail("open", 1, 0, EACCES);
    EXPECT_EQ(QV_Log(L"lost"), QV_ERR_OPENFILE);
    EXPECT_EQ(QV_Log(L"lost"), QV_ERR_OPENFILE);
    PlinthTestReset();
    EXPECT_EQ(test::current_log(), test::log_name(0));
    EXPECT_EQ(QV_Log(L"goes on"), QV_OK);
    EXPECT_EQ(test::log_content(), "goes on");
}

TEST_F(LogFaults, SettingsThatCannotBeStoredChangeNothing)
{
    EXPECT_EQ(CQvLogFile::LogPerSession(true), QV_OK);
    PlinthTestFail("RegSetValue", 1, 0, ERROR_ACCESS_DENIED);
    EXPECT_EQ(CQvLogFile::LogPerSession(false), QV_ERR_SYSTEM);
    EXPECT_TRUE(CQvLogFile::IsPerSession());
    EXPECT_EQ(CQvLogFile::SetProperties(5, 5), QV_ERR_SYSTEM);
    PlinthTestReset();
    PlinthTestFail("RegCreateKey", 1, 0, ERROR_ACCESS_DENIED);
    EXPECT_EQ(CQvLogFile::SetProperties(5, 5), QV_OK) << "nothing could be stored, without a word";
    PlinthTestReset();
    PlinthTestFail("rename", 1, 0, EROFS);
    EXPECT_EQ(CQvLogFile::SetProperties(5, 5), QV_ERR_SYSTEM);
}

// Names of logs that are so many days old, as seen on a clock shifted by as much.
std::string name_of_day(int64_t days_ago)
{
    const time_t then = time(nullptr) - days_ago * 86'400;
    char name[64];
    strftime(name, sizeof name, "qvapp_%Y-%m-%d.log", localtime(&then));
    return name;
}

TEST_F(LogFaults, OldFilesGoByTheirNamesWhenALogIsOpened)
{
    const std::string folder = test::log_folder();
    for (const int64_t age : {40, 12, 11, 10, 3})
        test::write_file(folder + "/" + name_of_day(age), "old");
    EXPECT_EQ(QV_Log(L"x"), QV_OK);
    EXPECT_EQ(test::log_names(),
              (std::vector<std::string>{name_of_day(10), name_of_day(3), test::log_name(0)}));
    // A day later the next one goes, and a running log stays in its file.
    PlinthTestShiftWallClock(day);
    EXPECT_EQ(QV_Log(L"y"), QV_OK);
    EXPECT_EQ(test::current_log(), name_of_day(0));
    CQvLogFile::CloseLog();
    EXPECT_EQ(QV_Log(L"z"), QV_OK);
    EXPECT_EQ(test::log_names(),
              (std::vector<std::string>{name_of_day(3), name_of_day(0), name_of_day(-1)}));
    PlinthTestShiftWallClock(400 * day);
    CQvLogFile::CloseLog();
    EXPECT_EQ(QV_Log(L"z"), QV_OK);
    EXPECT_EQ(test::log_names(), std::vector<std::string>{name_of_day(-400)});
}

TEST_F(LogFaults, AFileThatIsHeldOpenIsNotRemoved)
{
    const std::string folder = test::log_folder();
    test::write_file(folder + "/" + name_of_day(40), "held");
    test::write_file(folder + "/" + name_of_day(39), "behind it");
    test::OpenedFile held(test::windows_form(folder + "/" + name_of_day(40)), QV_OPEN_READ);
    ASSERT_EQ(held.status(), QV_OK);
    EXPECT_EQ(QV_Log(L"x"), QV_OK);
    EXPECT_EQ(test::log_names().size(), 3u) << "the scan ends there";
    held.close();
    CQvLogFile::CloseLog();
    EXPECT_EQ(QV_Log(L"x"), QV_OK);
    EXPECT_EQ(test::read_file(folder + "/" + name_of_day(39)), "");
}

// The installer's file stands beside the program: a copy of this program in a folder of its own
// tells where its log lies.
int print_log_folder(int, char**)
{
    const std::string path = test::native_form(CQvLogFile::GetLogFilename());
    std::printf("%s", path.substr(0, path.rfind('/') + 1).c_str());
    return 0;
}
const test::ChildMain print_log_folder_main("print-log-folder", print_log_folder);

std::string wide_bytes(const std::string& ascii)
{
    std::string bytes;
    for (const char c : ascii)
        bytes += std::string{c, '\0'};
    return bytes;
}

std::string folder_with(const std::string& xml)
{
    const std::string folder = test::make_folder("program");
    fs::copy_file(test::program(), folder + "/program", fs::copy_options::overwrite_existing);
    test::write_file(folder + "/SetupOptions.xml", xml);
    FILE* const out = popen((folder + "/program --child print-log-folder").c_str(), "r");
    char line[4096] = "";
    const size_t length = fread(line, 1, sizeof line - 1, out);
    EXPECT_EQ(pclose(out), 0);
    return std::string(line, length);
}

TEST_F(LogFaults, TheInstallersFileNamesTheFolder)
{
    const std::string common = test::root() + "/ProgramData/";
    const std::string usual = common + "Quorvane/Platform/Logfiles/";
    const auto xml = [](const std::string& value)
    {
        return "<x><CQvSystem runtype=\"CQvListVariant\"><a/><wsAppFolder runtype=\"CQvStringW\" "
               "value=\"" +
               value + "\"/></x>";
    };
    const std::string good = wide_bytes(xml("Mine\\App"));
    EXPECT_EQ(folder_with(good), common + "Mine/App/Logfiles/");
    EXPECT_EQ(folder_with("\xff\xfe" + good), common + "Mine/App/Logfiles/");
    EXPECT_EQ(folder_with(xml("Mine")), usual) << "one byte a character";
    EXPECT_EQ(folder_with(""), usual);
    EXPECT_EQ(folder_with(good.substr(0, good.size() / 2)), usual);
    EXPECT_EQ(folder_with(good.substr(0, good.find(wide_bytes("App")) + 3)), usual)
        << "cut in the value, in the middle of a character";
    EXPECT_EQ(folder_with(wide_bytes(xml(std::string(100'000, 'v')))), usual);
    EXPECT_EQ(folder_with(wide_bytes("<wsAppFolder runtype=\"CQvStringW\" value=\"Mine\"/>")),
              usual)
        << "the list must come first";
}

} // namespace
