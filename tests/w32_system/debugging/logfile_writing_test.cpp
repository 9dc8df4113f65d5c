#include <filesystem>
#include <regex>

#include <gtest/gtest.h>

#include "support/log_files.h"

using test::Wide;

namespace
{

class LogWriting : public testing::Test
{
protected:
    LogWriting() { test::start_log(); }
};

TEST_F(LogWriting, WritesTextsAsTheyComeBehindASessionHeader)
{
    EXPECT_EQ(QV_Log(L"one\r\n"), QV_OK);
    EXPECT_EQ(QV_Log(L"two, "), QV_OK);
    EXPECT_EQ(QV_Log(L"three"), QV_OK);
    EXPECT_EQ(test::log_content(), "one\r\ntwo, three");
    const std::string whole = test::read_file(test::log_folder() + "/" + test::current_log());
    EXPECT_TRUE(std::regex_search(
        whole, std::regex("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\*vtq\\* Log "
                          "session started\\.\r\none")))
        << whole;
}

TEST_F(LogWriting, RefusesWhatItCannotWrite)
{
    CQvLogFile::EnableLog(false);
    EXPECT_EQ(CQvLogFile::Log(nullptr, 0), QV_ERR_NULLPTR);
    EXPECT_TRUE(test::log_names().empty()) << "a null message makes no file";
    EXPECT_EQ(CQvLogFile::Log(L"x", 0), QV_ERR_SYSTEM);
    EXPECT_FALSE(CQvLogFile::Detail());
    CQvLogFile::EnableLog(true);
    EXPECT_TRUE(CQvLogFile::Detail());
    EXPECT_EQ(CQvLogFile::Log(L"below", -2), QV_ERR_SYSTEM);
    EXPECT_EQ(CQvLogFile::Log(L"at ", -1), QV_OK);
    EXPECT_EQ(CQvLogFile::Log(L"above", 7), QV_OK);
    EXPECT_EQ(CQvLogFile::ChangeLogDetail(99), QV_OK);
    EXPECT_EQ(CQvLogFile::SaveAs(L"nowhere", 1), QV_OK);
    EXPECT_EQ(test::log_content(), "at above");
}

struct Limit
{
    const char* name;
    int limit;
    size_t given;
    int status;
    size_t written;
};

void PrintTo(const Limit& each, std::ostream* out)
{
    *out << each.name;
}

class MessageLimits : public testing::TestWithParam<Limit>
{
};

TEST_P(MessageLimits, CutsAndAddsNothing)
{
    test::start_log();
    CQvLogFile::SetMaxLogMessageLength(GetParam().limit);
    EXPECT_EQ(QV_Log(Wide(GetParam().given, L'm')), GetParam().status);
    EXPECT_EQ(test::log_content(), std::string(GetParam().written, 'm'));
}

INSTANTIATE_TEST_SUITE_P(Lengths, MessageLimits,
                         testing::Values(Limit{"WholeBelow", 512, 511, QV_OK, 511},
                                         Limit{"CutAtTheDefault", 512, 512, QV_OK, 511},
                                         Limit{"Empty", 512, 0, QV_OK, 0},
                                         Limit{"One", 1, 5, QV_OK, 0},
                                         Limit{"Zero", 0, 5, QV_ERR_SYSTEM, 0},
                                         Limit{"None", -1, 100'000, QV_OK, 100'000},
                                         Limit{"BelowNone", -7, 5'000, QV_OK, 5'000},
                                         Limit{"BeyondTheStack", 2000, 3000, QV_OK, 1999}),
                         [](const auto& each) { return each.param.name; });

TEST_F(LogWriting, TheAnsiFormKeepsTheLowBytesUpToAZero)
{
    EXPECT_EQ(QV_Log(L"\u00e4|\u0142|"), QV_OK); // 0xe4, and 0x142 loses its high byte
    EXPECT_EQ(QV_Log(L"ab\u0100cd"), QV_OK);
    EXPECT_EQ(test::log_content(), "\xe4|\x42|ab");
}

TEST_F(LogWriting, TurningTheLogOffClosesItOnce)
{
    EXPECT_EQ(QV_Log(L"first"), QV_OK);
    EXPECT_TRUE(CQvLogFile::EnableLog(true));
    EXPECT_TRUE(CQvLogFile::IsEnabled());
    EXPECT_TRUE(CQvLogFile::EnableLog(false));
    EXPECT_EQ(CQvLogFile::m_pSingleton, nullptr);
    EXPECT_EQ(QV_Log(L"refused"), QV_ERR_SYSTEM);
    EXPECT_NE(CQvLogFile::m_pSingleton, nullptr) << "asking opens a file all the same";
    EXPECT_FALSE(CQvLogFile::EnableLog(false));
    EXPECT_NE(CQvLogFile::m_pSingleton, nullptr) << "it was off already";
    EXPECT_FALSE(CQvLogFile::EnableLog(true));
    EXPECT_EQ(CQvLogFile::CloseLog(), QV_OK);
    EXPECT_EQ(CQvLogFile::CloseLog(), QV_OK);
}

TEST_F(LogWriting, TheStampIsThirtyCharactersOfLocalTime)
{
    wchar_t stamp[31];
    CQvLogFile::curr_time_string(stamp);
    EXPECT_TRUE(std::regex_match(
        test::utf8(stamp),
        std::regex("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\*vtq\\* ")))
        << test::utf8(stamp);
}

TEST_F(LogWriting, AFolderThatGoesWhileTheLogIsOpenIsMadeAnewByTheNextInstance)
{
    EXPECT_EQ(QV_Log(L"lost with its folder"), QV_OK);
    std::filesystem::remove_all(test::log_folder());
    EXPECT_EQ(QV_Log(L"nobody can see this"), QV_OK);
    CQvLogFile::CloseLog();
    EXPECT_EQ(QV_Log(L"here again"), QV_OK);
    EXPECT_EQ(test::log_content(), "here again");
}

} // namespace
