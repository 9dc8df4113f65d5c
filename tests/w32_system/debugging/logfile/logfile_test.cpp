// Writing to the log, the names of its files, and its settings.
#include <algorithm>
#include <regex>

#include "support/log_files.h"

using test::log_content;
using test::log_name;
using test::Wide;

namespace
{

using LogWriting = test::FreshLog;
using LogNames = test::FreshLog;

TEST_F(LogWriting, RefusesWhatItCannotWrite)
{
    EXPECT_TRUE(CQvLogFile::EnableLog(false)) << "it was on";
    EXPECT_EQ(CQvLogFile::Log(nullptr, 0), QV_ERR_NULLPTR);
    EXPECT_TRUE(test::log_names().empty()) << "a null message makes no file";
    EXPECT_EQ(CQvLogFile::Log(L"x", 0), QV_ERR_SYSTEM);
    EXPECT_FALSE(CQvLogFile::Detail());
    EXPECT_FALSE(CQvLogFile::EnableLog(true));
    EXPECT_TRUE(CQvLogFile::IsEnabled());
    EXPECT_TRUE(CQvLogFile::Detail());
    EXPECT_EQ(CQvLogFile::Log(L"below", -2), QV_ERR_SYSTEM);
    EXPECT_EQ(CQvLogFile::Log(L"at ", -1), QV_OK);
    EXPECT_EQ(CQvLogFile::Log(L"above", 7), QV_OK);
    EXPECT_EQ(CQvLogFile::ChangeLogDetail(99), QV_OK);
    EXPECT_EQ(CQvLogFile::SaveAs(L"nowhere", 1), QV_OK);
    EXPECT_EQ(log_content(), "at above");
}

TEST_F(LogWriting, CutsAMessageAtItsLimitAndAddsNothing)
{
    using Logged = std::pair<int, size_t>; // a status, and the size of the log
    const auto logged = [](int limit, size_t length)
    {
        test::start_log();
        CQvLogFile::SetMaxLogMessageLength(limit);
        const int status = QV_Log(Wide(length, L'm'));
        return Logged(status, log_content().size());
    };
    for (const size_t length : {0u, 511u, 512u})
        EXPECT_EQ(logged(512, length), Logged(QV_OK, std::min<size_t>(length, 511)));
    EXPECT_EQ(logged(1, 5), Logged(QV_OK, 0));
    EXPECT_EQ(logged(0, 5), Logged(QV_ERR_SYSTEM, 0));
    EXPECT_EQ(logged(-7, 100'000), Logged(QV_OK, 100'000));
}

TEST_F(LogWriting, TheAnsiFormKeepsTheLowBytesUpToAZero)
{
    EXPECT_EQ(QV_Log(L"\u00e4|\u0142|"), QV_OK); // 0xe4, and 0x142 loses its high byte
    EXPECT_EQ(QV_Log(L"ab\u0100cd"), QV_OK);
    EXPECT_EQ(log_content(), "\xe4|\x42|ab");
    wchar_t stamp[31];
    CQvLogFile::curr_time_string(stamp);
    EXPECT_TRUE(std::regex_match(test::utf8(stamp), std::regex(test::stamp_pattern)));
}

TEST_F(LogNames, TheFileFollowsFromTheDaysFilesAndTheSetting)
{
    const std::string old = "old\r\n", utf16 = "\xff\xfe"
                                               "x";
    const struct
    {
        std::vector<std::string> names; // of the files of the day
        std::string content;            // of each of them
        bool per_session;
        unsigned chosen;
    } rows[] = {{{}, old, false, 0},
                {{}, old, true, 0},
                {{log_name(0)}, old, false, 0},
                {{log_name(0)}, old, true, 1},
                {{log_name(0), log_name(3), log_name(7)}, old, false, 7},
                {{log_name(0), log_name(3), log_name(7)}, old, true, 8},
                {{log_name(0), log_name(9999)}, old, true, 0},
                {{log_name(0).insert(16, "_x")}, old, true, 1}, // without a number
                {{log_name(4)}, utf16, false, 5},               // the other form is left alone
                {{log_name(4)}, "\xff", false, 4}};             // one byte is not a mark
    for (const auto& [names, content, per_session, chosen] : rows)
    {
        SCOPED_TRACE((per_session ? "new " : "append ") + std::to_string(chosen) + content);
        test::set_log_setting(L"LogPerSession_4", per_session);
        test::start_log();
        for (const std::string& name : names)
            test::write_log(name, content);
        EXPECT_EQ(QV_Log(L"new"), QV_OK);
        EXPECT_EQ(test::current_log(), log_name(chosen));
        EXPECT_EQ(CQvLogFile::IsPerSession(), per_session);
        EXPECT_EQ(log_content(),
                  (std::ranges::count(names, log_name(chosen)) ? content : "") + "new");
        EXPECT_EQ(test::read_log(log_name(4)) == utf16, content == utf16);
    }
}

// A split makes the next file; per session the new instance then takes another one.
TEST_F(LogNames, ARunningLogGoesOnInANewFileWhenItHasGrown)
{
    for (const bool per_session : {false, true})
    {
        test::set_log_setting(L"LogPerSession_4", per_session);
        test::start_log();
        EXPECT_EQ(CQvLogFile::SetProperties(1, 10), QV_OK);
        // Only whole MiB count: with a limit of 1 MiB the log is split after 2 MiB.
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(QV_Log(Wide(512 * 1024, L'x')), QV_OK);
        EXPECT_EQ(test::current_log(), log_name(0));
        EXPECT_EQ(QV_Log(L"after"), QV_OK);
        EXPECT_EQ(log_content(), "after");
        EXPECT_EQ(test::current_log(), log_name(per_session ? 2 : 1));
        EXPECT_EQ(test::read_log(log_name(1)) == "", per_session);
        EXPECT_EQ(CQvLogFile::ClearLog(), QV_OK);
        EXPECT_EQ(test::current_log(), log_name(per_session ? 3 : 2));
    }
}

} // namespace
