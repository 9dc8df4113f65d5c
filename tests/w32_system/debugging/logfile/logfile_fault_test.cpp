// Failures of the system below the log, and changes of the date.
#include <cerrno>
#include <filesystem>

#include <plinth_platform_test.h>

#include "support/files.h"
#include "support/log_files.h"

using test::log_content;
using test::log_name;

namespace
{

using Names = std::vector<std::string>;

constexpr int64_t day = 86'400'000; // ms

using LogFaults = test::FreshLog;

TEST_F(LogFaults, WithoutAFileOrALocalTimeThereIsNoLogUntilThereIs)
{
    PlinthTestFail("open", 1, 0, EACCES);
    EXPECT_EQ(QV_Log(L"x"), QV_ERR_SYSTEM);
    EXPECT_EQ(CQvLogFile::GetLogFilename(), nullptr);
    EXPECT_FALSE(CQvLogFile::IsPerSession());
    EXPECT_EQ(CQvLogFile::ClearLog(), QV_ERR_SYSTEM);
    PlinthTestReset();
    PlinthTestFail("_localtime64", 1, 0, EINVAL);
    PlinthTestShiftWallClock(2'000); // no thread has a stamp of this second yet
    EXPECT_EQ(QV_Log(L"x"), QV_ERR_SYSTEM);
    PlinthTestReset();
    EXPECT_EQ(QV_Log(L"now"), QV_OK);
    EXPECT_EQ(log_content(), "now");
}

// Fills a log of 1 MiB to its limit: the next message splits it.
void fill_log()
{
    EXPECT_EQ(CQvLogFile::SetProperties(1, 10), QV_OK);
    EXPECT_EQ(QV_Log(test::Wide(2u << 20, L'x')), QV_OK);
}

TEST_F(LogFaults, AMessageThatFailsHasItsStatusAndIsLostAlone)
{
    const auto fails_with = [](const char* operation, int error)
    {
        PlinthTestFail(operation, 1, 0, error);
        const int status = QV_Log(L"lost");
        EXPECT_EQ(QV_Log(L"lost"), status);
        EXPECT_EQ(test::current_log(), log_name(0));
        PlinthTestReset();
        return status;
    };
    EXPECT_EQ(QV_Log(L"kept, "), QV_OK);
    EXPECT_EQ(fails_with("write", ENOSPC), QV_ERR_DISKFULL);
    EXPECT_EQ(fails_with("write", EIO), QV_ERR_WRITEFILE);
    EXPECT_EQ(QV_Log(L"goes on"), QV_OK);
    EXPECT_EQ(log_content(), "kept, goes on");
    fill_log();
    EXPECT_EQ(fails_with("open", EACCES), QV_ERR_OPENFILE);
    EXPECT_EQ(fails_with("_localtime64", EINVAL), QV_ERR_SYSTEM);
    EXPECT_EQ(QV_Log(L"goes on"), QV_OK);
    EXPECT_EQ(log_content(), "goes on");
}

// Opening fails at each point of a split, also after the old log is closed.
TEST_F(LogFaults, ASplitThatFailsLosesItsMessageAlone)
{
    int failures = 0, without_log = 0;
    bool reached = true;
    for (unsigned nth = 1; reached; ++nth)
    {
        ASSERT_LT(nth, 100u);
        test::start_log();
        fill_log();
        PlinthTestFail("open", nth, 1, EMFILE);
        const int status = QV_Log(L"first");
        reached = PlinthTestCalls("open") >= nth;
        PlinthTestReset();
        failures += status != QV_OK;
        without_log += status == QV_ERR_SYSTEM;
        EXPECT_TRUE(status == QV_OK || status == QV_ERR_OPENFILE || status == QV_ERR_SYSTEM);
        EXPECT_EQ(QV_Log(L"second"), QV_OK) << nth;
        EXPECT_EQ(log_content(), status == QV_OK ? "firstsecond" : "second") << nth;
    }
    EXPECT_GT(failures, 1);
    EXPECT_GT(without_log, 0) << "the new instance could not open its file";
}

TEST_F(LogFaults, ASplitBehindMidnightBeginsTheNumbersAnew)
{
    test::set_log_setting(L"LogPerSession_4", 0);
    test::write_log(log_name(3), "old\r\n");
    fill_log();
    EXPECT_EQ(test::current_log(), log_name(3));
    PlinthTestShiftWallClock(day);
    EXPECT_EQ(QV_Log(L"today"), QV_OK);
    EXPECT_EQ(test::current_log(), log_name(0, -1));
}

int stored_setting(const wchar_t* name)
{
    HKEY key = nullptr;
    int value = 4711;
    DWORD size = sizeof value;
    RegOpenKeyW(HKEY_LOCAL_MACHINE, L"Software\\Quorvane\\Misc\\LogFile", &key);
    RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
    RegCloseKey(key);
    return value;
}

TEST_F(LogFaults, ALimitOf0IsNoneForTheNextInstanceAndAMibForTheRunningOne)
{
    test::set_log_setting(L"LogPerSession_4", 0);
    for (const int none : {0, -1})
    {
        test::start_log();
        fill_log();
        EXPECT_EQ(CQvLogFile::SetProperties(none, 10), QV_OK);
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(QV_Log(test::Wide(1u << 20, L'x')), QV_OK);
        EXPECT_EQ(test::log_names().size(), none == 0 ? 2u : 1u);
    }
}

TEST_F(LogFaults, SettingsAreStoredAndThoseThatCannotBeChangeNothing)
{
    EXPECT_EQ(CQvLogFile::LogPerSession(true), QV_OK);
    EXPECT_EQ(CQvLogFile::SetProperties(7, 8), QV_OK);
    PlinthTestFail("RegSetValue", 1, 0, ERROR_ACCESS_DENIED);
    EXPECT_EQ(CQvLogFile::LogPerSession(false), QV_ERR_SYSTEM);
    EXPECT_TRUE(CQvLogFile::IsPerSession());
    EXPECT_EQ(CQvLogFile::SetProperties(5, 5), QV_ERR_SYSTEM);
    EXPECT_EQ(stored_setting(L"LogPerSession_4"), 1);
    EXPECT_EQ(stored_setting(L"MaxLogMBytes"), 7);
    EXPECT_EQ(stored_setting(L"MaxLogDays"), 8);
    PlinthTestReset();
    PlinthTestFail("RegSetValue", 2, 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(CQvLogFile::SetProperties(9, 9), QV_ERR_SYSTEM);
    PlinthTestReset();
    EXPECT_EQ(stored_setting(L"MaxLogMBytes"), 9) << "the first one was";
    EXPECT_EQ(stored_setting(L"MaxLogDays"), 8);
    PlinthTestFail("RegCreateKey", 1, 0, ERROR_ACCESS_DENIED);
    EXPECT_EQ(CQvLogFile::SetProperties(5, 5), QV_OK) << "a setting without its key is left out";
    PlinthTestReset();
    EXPECT_EQ(stored_setting(L"MaxLogMBytes"), 9);
}

void write_old_logs(std::initializer_list<int> ages)
{
    for (const int age : ages)
        test::write_log(log_name(0, age), "old");
}

TEST_F(LogFaults, OfANameWithoutADateOrALimitBeyond31BitsNothingOldIsLeft)
{
    const struct
    {
        DWORD days;
        Names left;
    } rows[] = {
        {10, {log_name(0, 10), log_name(0, 1), log_name(0)}},
        {11, {log_name(0, 11), log_name(0, 10), log_name(0, 1), log_name(0)}},
        {0, {log_name(0)}},
        {24'856, {log_name(0)}}, // negative if counted in 32-bit seconds
        {1'000, {log_name(0, 40), log_name(0, 11), log_name(0, 10), log_name(0, 1), log_name(0)}}};
    for (const auto& row : rows)
    {
        test::start_log();
        test::set_log_setting(L"MaxLogDays", row.days);
        write_old_logs({40, 11, 10, 1});
        test::write_log("qvapp_!!!!-!!-!!.log", "before all others");
        EXPECT_EQ(QV_Log(L"x"), QV_OK);
        EXPECT_EQ(test::log_names(), row.left) << row.days;
    }
}

TEST_F(LogFaults, AFolderOrALinkToOneAmongTheOldFilesStaysAndTheOthersGo)
{
    write_old_logs({39, 38});
    const std::string folder = test::log_folder() + "/" + log_name(0, 41);
    const std::string link = test::log_folder() + "/" + log_name(0, 40);
    ASSERT_TRUE(std::filesystem::create_directory(folder));
    std::filesystem::create_directory_symlink(folder, link);
    EXPECT_EQ(QV_Log(L"x"), QV_OK);
    EXPECT_EQ(test::log_names(), (Names{log_name(0, 41), log_name(0, 40), log_name(0)}));
}

TEST_F(LogFaults, AFileThatIsHeldOpenIsNotRemoved)
{
    write_old_logs({40, 39});
    test::OpenedFile held(test::windows_form(test::log_folder() + "/" + log_name(0, 40)),
                          QV_OPEN_READ);
    ASSERT_EQ(held.status(), QV_OK);
    EXPECT_EQ(QV_Log(L"x"), QV_OK);
    EXPECT_EQ(test::log_names().size(), 3u) << "the scan ends there";
    held.close();
    CQvLogFile::CloseLog();
    EXPECT_EQ(QV_Log(L"x"), QV_OK);
    EXPECT_EQ(test::read_log(log_name(0, 39)), "");
}

} // namespace
