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

// Names of logs that are so many days old, as seen on a clock shifted by as much.
std::string name_of_day(int64_t days_ago)
{
    const time_t then = time(nullptr) - days_ago * 86'400;
    char name[64];
    strftime(name, sizeof name, "qvapp_%Y-%m-%d.log", localtime(&then));
    return name;
}

class LogFaults : public testing::Test
{
protected:
    LogFaults() { test::start_log(); }
    ~LogFaults() override
    {
        PlinthTestReset();
        CQvLogFile::CloseLog();
        CQvLogFile::SetMaxLogMessageLength(512);
        test::set_log_setting(L"LogPerSession_4", 1);
        test::set_log_setting(L"MaxLogMBytes", 0);
        test::set_log_setting(L"MaxLogDays", 10);
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
    PlinthTestShiftWallClock(2'000); // a second whose stamp no thread can know
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

// Brings a log of 1 MiB to its limit: the next message splits it.
void fill_log()
{
    EXPECT_EQ(CQvLogFile::SetProperties(1, 10), QV_OK);
    CQvLogFile::SetMaxLogMessageLength(-1);
    EXPECT_EQ(QV_Log(test::Wide(2u << 20, L'x')), QV_OK);
}

TEST_F(LogFaults, WithoutALocalTimeASplitFailsAndTheOldFileGoesOn)
{
    fill_log();
    const std::string file = test::current_log();
    PlinthTestFail("_localtime64", 1, 0, EINVAL);
    EXPECT_EQ(QV_Log(L"lost"), QV_ERR_SYSTEM);
    EXPECT_EQ(test::current_log(), file);
    PlinthTestReset();
    EXPECT_EQ(QV_Log(L"goes on"), QV_OK);
    EXPECT_EQ(test::log_content(), "goes on");
}

// Wherever opening fails in a split, also behind the end of the old log.
TEST_F(LogFaults, ASplitThatFailsLosesItsMessageAlone)
{
    int failures = 0;
    int without_log = 0;
    for (unsigned nth = 1;; ++nth)
    {
        test::start_log();
        fill_log();
        PlinthTestFail("open", nth, 1, EMFILE);
        const int status = QV_Log(L"first");
        const bool reached = PlinthTestCalls("open") >= nth;
        PlinthTestReset();
        ASSERT_LT(nth, 100u);
        if (!reached)
            break;
        failures += status != QV_OK;
        without_log += status == QV_ERR_SYSTEM;
        EXPECT_TRUE(status == QV_OK || status == QV_ERR_OPENFILE || status == QV_ERR_SYSTEM);
        EXPECT_EQ(QV_Log(L"second"), QV_OK) << nth;
        EXPECT_EQ(test::log_content(), status == QV_OK ? "firstsecond" : "second") << nth;
    }
    EXPECT_GT(failures, 1);
    EXPECT_GT(without_log, 0) << "the new instance could not open its file";
}

TEST_F(LogFaults, ASplitBehindMidnightBeginsTheNumbersAnew)
{
    test::set_log_setting(L"LogPerSession_4", 0);
    test::write_file(test::log_folder() + "/" + test::log_name(3), "old\r\n");
    fill_log();
    EXPECT_EQ(test::current_log(), test::log_name(3));
    PlinthTestShiftWallClock(day);
    EXPECT_EQ(QV_Log(L"today"), QV_OK);
    EXPECT_EQ(test::current_log(), name_of_day(-1));
}

DWORD stored_setting(const wchar_t* name)
{
    HKEY key = nullptr;
    DWORD value = 4711;
    DWORD size = sizeof value;
    RegOpenKeyW(HKEY_LOCAL_MACHINE, L"Software\\Quorvane\\Misc\\LogFile", &key);
    RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
    RegCloseKey(key);
    return value;
}

TEST_F(LogFaults, ALimitOf0IsNoneForTheNextInstanceAndAMibForTheRunningOne)
{
    test::set_log_setting(L"LogPerSession_4", 0);
    const test::Wide large(1u << 20, L'x');
    for (const int none : {0, -1})
    {
        test::start_log();
        fill_log();
        EXPECT_EQ(CQvLogFile::SetProperties(none, 10), QV_OK);
        EXPECT_EQ(stored_setting(L"MaxLogMBytes"), static_cast<DWORD>(none));
        EXPECT_EQ(QV_Log(large), QV_OK);
        EXPECT_EQ(test::log_names().size(), none == 0 ? 2u : 1u);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(QV_Log(large), QV_OK);
        EXPECT_EQ(test::log_names().size(), none == 0 ? 2u : 1u);
    }
}

TEST_F(LogFaults, SettingsThatCannotBeStoredChangeNothing)
{
    EXPECT_EQ(CQvLogFile::LogPerSession(true), QV_OK);
    PlinthTestFail("RegSetValue", 1, 0, ERROR_ACCESS_DENIED);
    EXPECT_EQ(CQvLogFile::LogPerSession(false), QV_ERR_SYSTEM);
    EXPECT_TRUE(CQvLogFile::IsPerSession());
    EXPECT_EQ(CQvLogFile::SetProperties(5, 5), QV_ERR_SYSTEM);
    PlinthTestReset();
    EXPECT_EQ(CQvLogFile::SetProperties(7, 7), QV_OK);
    PlinthTestFail("RegSetValue", 2, 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(CQvLogFile::SetProperties(8, 8), QV_ERR_SYSTEM);
    PlinthTestReset();
    EXPECT_EQ(stored_setting(L"MaxLogMBytes"), 8u) << "the first one was";
    EXPECT_EQ(stored_setting(L"MaxLogDays"), 7u);
    PlinthTestFail("RegCreateKey", 1, 0, ERROR_ACCESS_DENIED);
    EXPECT_EQ(CQvLogFile::SetProperties(5, 5), QV_OK) << "nothing could be stored, without a word";
    PlinthTestReset();
    PlinthTestFail("rename", 1, 0, EROFS);
    EXPECT_EQ(CQvLogFile::SetProperties(5, 5), QV_ERR_SYSTEM);
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

TEST_F(LogFaults, OfANameWithoutADateOrALimitBeyond31BitsNothingOldIsLeft)
{
    const std::string folder = test::log_folder();
    const struct
    {
        DWORD days;
        std::vector<std::string> left;
    } rows[] = {{10, {name_of_day(10), name_of_day(1), name_of_day(0)}},
                {0, {name_of_day(0)}},
                {24'856, {name_of_day(0)}}, // seconds that come out negative
                {1'000, {name_of_day(40), name_of_day(10), name_of_day(1), name_of_day(0)}}};
    for (const auto& row : rows)
    {
        test::start_log();
        test::set_log_setting(L"MaxLogDays", row.days);
        for (const int64_t age : {40, 10, 1})
            test::write_file(folder + "/" + name_of_day(age), "old");
        test::write_file(folder + "/qvapp_!!!!-!!-!!.log", "before all others");
        EXPECT_EQ(QV_Log(L"x"), QV_OK);
        EXPECT_EQ(test::log_names(), row.left) << row.days;
    }
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
