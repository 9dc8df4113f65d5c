#include <filesystem>

#include <gtest/gtest.h>

#include "support/log_files.h"

namespace
{

using Names = std::vector<std::string>;

struct Choice
{
    const char* name;
    std::vector<unsigned> numbers; // of the files that the day has
    bool per_session;
    unsigned chosen;
};

void PrintTo(const Choice& each, std::ostream* out)
{
    *out << each.name;
}

class LogNames : public testing::TestWithParam<Choice>
{
};

TEST_P(LogNames, TheFileFollowsFromTheDaysFilesAndTheSetting)
{
    test::set_log_setting(L"LogPerSession_4", GetParam().per_session);
    test::start_log();
    for (const unsigned number : GetParam().numbers)
        test::write_file(test::log_folder() + "/" + test::log_name(number), "old\r\n");
    EXPECT_EQ(QV_Log(L"new"), QV_OK);
    EXPECT_EQ(test::current_log(), test::log_name(GetParam().chosen));
    EXPECT_EQ(CQvLogFile::IsPerSession(), GetParam().per_session);
    const bool appended =
        std::count(GetParam().numbers.begin(), GetParam().numbers.end(), GetParam().chosen) != 0;
    EXPECT_EQ(test::log_content(), appended ? "old\r\nnew" : "new");
}

INSTANTIATE_TEST_SUITE_P(Days, LogNames,
                         testing::Values(Choice{"NoneAppending", {}, false, 0},
                                         Choice{"NonePerSession", {}, true, 0},
                                         Choice{"FirstAppending", {0}, false, 0},
                                         Choice{"FirstPerSession", {0}, true, 1},
                                         Choice{"SevenAppending", {0, 3, 7}, false, 7},
                                         Choice{"SevenPerSession", {0, 3, 7}, true, 8},
                                         Choice{"LastAppending", {0, 9999}, false, 9999},
                                         Choice{"LastPerSession", {0, 9999}, true, 0}),
                         [](const auto& each) { return each.param.name; });

TEST(LogNames, AFileOfTheOtherFormIsPassedOver)
{
    test::set_log_setting(L"LogPerSession_4", 0);
    test::start_log();
    const std::string first = test::log_folder() + "/" + test::log_name(4);
    test::write_file(first, "\xff\xfe"
                            "x"); // UTF-16 by its mark
    EXPECT_EQ(QV_Log(L"new"), QV_OK);
    EXPECT_EQ(test::current_log(), test::log_name(5));
    EXPECT_EQ(test::read_file(first), "\xff\xfe"
                                      "x")
        << "and stays as it is";

    test::start_log();
    test::write_file(first, "\xff"); // one byte is no mark
    EXPECT_EQ(QV_Log(L"new"), QV_OK);
    EXPECT_EQ(test::current_log(), test::log_name(4));
    test::start_log();
    test::write_file(first, ""); // an empty file suits
    EXPECT_EQ(QV_Log(L"new"), QV_OK);
    EXPECT_EQ(test::current_log(), test::log_name(4));
}

TEST(LogNames, ANameWithoutANumberCountsAsNumberZero)
{
    test::set_log_setting(L"LogPerSession_4", 1);
    test::start_log();
    std::string odd = test::log_name(0);
    odd.insert(odd.size() - 4, "_x");
    test::write_file(test::log_folder() + "/" + odd, "old");
    EXPECT_EQ(QV_Log(L"new"), QV_OK);
    EXPECT_EQ(test::current_log(), test::log_name(1));
}

TEST(LogSettings, BadValuesLeaveTheDefaults)
{
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyW(HKEY_LOCAL_MACHINE, L"Software\\Quorvane\\Misc\\LogFile", &key),
              static_cast<LONG>(ERROR_SUCCESS));
    const BYTE bytes[8] = {};
    RegSetValueExW(key, L"LogPerSession_4", 0, REG_QWORD, bytes, 8);
    RegCloseKey(key);
    CQvLogFile::CloseLog();
    EXPECT_TRUE(CQvLogFile::IsPerSession());
    test::set_log_setting(L"LogPerSession_4", 0xFFFFFFFF);
    CQvLogFile::CloseLog();
    EXPECT_TRUE(CQvLogFile::IsPerSession());
    test::set_log_setting(L"LogPerSession_4", 0);
    CQvLogFile::CloseLog();
    EXPECT_FALSE(CQvLogFile::IsPerSession());
}

TEST(LogSettings, ChangesAreStoredAndTakenUp)
{
    test::start_log();
    EXPECT_EQ(QV_Log(L"x"), QV_OK);
    const std::string file = test::current_log();
    EXPECT_EQ(CQvLogFile::LogPerSession(false), QV_OK);
    EXPECT_FALSE(CQvLogFile::IsPerSession());
    EXPECT_EQ(test::current_log(), file);
    CQvLogFile::CloseLog();
    EXPECT_EQ(QV_Log(L"y"), QV_OK);
    EXPECT_EQ(test::current_log(), file) << "the next instance appends";
    EXPECT_EQ(test::log_content(), "xy");
    EXPECT_EQ(CQvLogFile::LogPerSession(true), QV_OK);
    EXPECT_EQ(CQvLogFile::ClearLog(), QV_OK);
    EXPECT_EQ(test::current_log(), test::log_name(1));
}

TEST(LogSplit, ARunningLogGoesOnInANewFileWhenItHasGrown)
{
    for (const bool per_session : {false, true})
    {
        test::set_log_setting(L"LogPerSession_4", per_session);
        test::start_log();
        EXPECT_EQ(CQvLogFile::SetProperties(1, 10), QV_OK);
        CQvLogFile::SetMaxLogMessageLength(-1);
        const test::Wide half(512 * 1024, L'x');
        // The test is for whole MiB above the limit: 2 MiB must have been written.
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(QV_Log(half), QV_OK);
        EXPECT_EQ(test::current_log(), test::log_name(0));
        EXPECT_EQ(QV_Log(L"after"), QV_OK);
        EXPECT_EQ(test::log_content(), "after");
        if (per_session)
        {
            EXPECT_EQ(test::log_names(),
                      (Names{test::log_name(0), test::log_name(1), test::log_name(2)}));
            EXPECT_EQ(test::read_file(test::log_folder() + "/" + test::log_name(1)), "")
                << "the file that the split made stays behind empty";
        }
        else
            EXPECT_EQ(test::log_names(), (Names{test::log_name(0), test::log_name(1)}));
        EXPECT_EQ(CQvLogFile::ClearLog(), QV_OK);
        EXPECT_EQ(test::current_log(), test::log_name(per_session ? 3 : 2));
        EXPECT_EQ(CQvLogFile::SetProperties(-1, 10), QV_OK);
    }
}

} // namespace
