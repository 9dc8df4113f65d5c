// The report of DiagAssertA in the log: its text, its cuts, and what it leaves alone.
#include <regex>

#include "support/log_files.h"

using test::log_content;

namespace
{

using AssertionReport = test::FreshLog;

TEST_F(AssertionReport, NamesProgramPlaceConditionMessageAndLastError)
{
    SetLastError(5);
    EXPECT_EQ(DiagAssertA(0, "a > b", "what to know", "source.cpp", 17), 0);
    EXPECT_EQ(GetLastError(), 5u);
    EXPECT_TRUE(std::regex_match(
        log_content(),
        std::regex("Debug Assertion Failed!\r\nProgram : [A-Z]:\\\\[^\r]*debugging_tests(\\.exe)?"
                   "\r\nFile : source\\.cpp\r\nLine : 17\r\nExpression : a > b\r\nwhat to know\r\n"
                   "Last Error \\(0x00000005\\) : Access is denied\\.\\s*\r\n")))
        << log_content();
}

// A message that is null has no line, an error that the system does not know a null text.
TEST_F(AssertionReport, EndsWithTheLastErrorAlsoOfAStackWalk)
{
    const struct
    {
        unsigned options;
        DWORD error;
        const char* end;
    } rows[] = {
        {0, 0, "Expression : x\r\nLast Error (0x00000000) : "},
        {0, 0x2FFFFFFF, "Expression : x\r\nLast Error (0x2FFFFFFF) : (null)\r\n"},
        {QV_DIAG_LOGFILE | QV_DIAG_STACKTRACE, 87, "Expression : x\r\nLast Error (0x00000057) : "}};
    for (const auto& row : rows)
    {
        test::start_log();
        SetLastError(row.error);
        EXPECT_EQ(DiagAssertA(row.options, "x", nullptr, "f", 1), 0);
        EXPECT_EQ(GetLastError(), row.error);
        EXPECT_TRUE(log_content().starts_with("Debug Assertion Failed!\r\n")) << log_content();
        EXPECT_NE(log_content().find(row.end), std::string::npos) << log_content();
    }
}

TEST_F(AssertionReport, CutsFileToMessageAt511Characters)
{
    DiagAssertA(0, "x", std::string(5'000, 'm').c_str(), "f", 1);
    const std::string report = log_content();
    const size_t start = report.find("File : f\r\nLine : 1\r\nExpression : x\r\n");
    ASSERT_NE(start, std::string::npos);
    EXPECT_EQ(report.find("\r\nLast Error (", start) - start, 511u);

    test::start_log();
    DiagAssertA(0, "x", nullptr, std::string(10'000, 'f').c_str(), 1);
    EXPECT_NE(log_content().find(std::string(504, 'f') + "\r\nLast Error ("), std::string::npos);
}

TEST_F(AssertionReport, GoesWhereItsOwnOptionsSayElseWhereTheFailifOptionsDo)
{
    const auto is_logged = [](unsigned options)
    {
        test::start_log();
        DiagAssertA(options, "x", nullptr, "f", 1);
        return log_content() != "";
    };
    EXPECT_FALSE(is_logged(QV_DIAG_DEBUGGER));
    EXPECT_EQ(QV_SetFailifOptions(QV_DIAG_DEBUGGER), unsigned{QV_DIAG_LOGFILE});
    EXPECT_FALSE(is_logged(0));
    EXPECT_TRUE(is_logged(QV_DIAG_LOGFILE));
    EXPECT_EQ(QV_SetFailifOptions(QV_DIAG_LOGFILE), unsigned{QV_DIAG_DEBUGGER});
    QV_SetTraceOptions(QV_DIAG_MSGBOX);
    EXPECT_TRUE(is_logged(0)) << "trace options don't count";
}

} // namespace
