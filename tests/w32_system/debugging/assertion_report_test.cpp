// The report of DiagAssertA in the log: its text, its cuts, and what it leaves alone.
#include <regex>

#include <gtest/gtest.h>

#include "support/log_files.h"

namespace
{

class AssertionReport : public testing::Test
{
protected:
    AssertionReport()
    {
        CQvLogFile::SetMaxLogMessageLength(-1);
        test::start_log();
    }
    ~AssertionReport() override
    {
        QV_SetFailifOptions(QV_DIAG_LOGFILE);
        CQvLogFile::SetMaxLogMessageLength(512);
    }
};

TEST_F(AssertionReport, NamesProgramPlaceConditionMessageAndLastError)
{
    SetLastError(5);
    EXPECT_EQ(DiagAssertA(0, "a > b", "what to know", "source.cpp", 17), 0);
    EXPECT_EQ(GetLastError(), 5u);
    EXPECT_TRUE(std::regex_match(
        test::log_content(),
        std::regex("Debug Assertion Failed!\r\nProgram : [A-Z]:\\\\[^\r]*debugging_tests(\\.exe)?"
                   "\r\nFile : source\\.cpp\r\nLine : 17\r\nExpression : a > b\r\nwhat to know\r\n"
                   "Last Error \\(0x00000005\\) : Access is denied\\.\\s*\r\n")))
        << test::log_content();
}

TEST_F(AssertionReport, HasNoLineForAMessageThatIsNull)
{
    SetLastError(0);
    EXPECT_EQ(DiagAssertA(0, "x", nullptr, "f", 1), 0);
    const std::string report = test::log_content();
    EXPECT_EQ(report.rfind("Debug Assertion Failed!\r\n", 0), 0u);
    EXPECT_NE(report.find("Expression : x\r\nLast Error (0x00000000) : "), std::string::npos);
}

TEST_F(AssertionReport, OfAnErrorThatTheSystemDoesNotKnowHasANullText)
{
    SetLastError(0x2FFFFFFF);
    DiagAssertA(0, "x", nullptr, "f", 1);
    EXPECT_NE(test::log_content().find("Last Error (0x2FFFFFFF) : (null)\r\n"), std::string::npos);
    EXPECT_EQ(GetLastError(), 0x2FFFFFFFu);
}

TEST_F(AssertionReport, CutsFileToMessageAt511Characters)
{
    const std::string message(5'000, 'm');
    DiagAssertA(0, "x", message.c_str(), "f", 1);
    const std::string report = test::log_content();
    const std::string head = "File : f\r\nLine : 1\r\nExpression : x\r\n";
    const size_t start = report.find(head);
    ASSERT_NE(start, std::string::npos);
    EXPECT_EQ(report.find("\r\nLast Error (", start) - start, 511u);

    test::start_log();
    const std::string file(10'000, 'f');
    DiagAssertA(0, "x", nullptr, file.c_str(), 1);
    EXPECT_NE(test::log_content().find(std::string(504, 'f') + "\r\nLast Error ("),
              std::string::npos);
}

TEST_F(AssertionReport, GoesWhereItsOwnOptionsSayElseWhereTheFailifOptionsDo)
{
    DiagAssertA(QV_DIAG_DEBUGGER, "x", nullptr, "f", 1);
    EXPECT_EQ(test::log_content(), "") << "a word for one report";
    EXPECT_EQ(QV_SetFailifOptions(QV_DIAG_DEBUGGER), unsigned{QV_DIAG_LOGFILE});
    DiagAssertA(0, "x", nullptr, "f", 1);
    EXPECT_EQ(test::log_content(), "");
    DiagAssertA(QV_DIAG_LOGFILE, "logged", nullptr, "f", 1);
    EXPECT_NE(test::log_content().find("Expression : logged"), std::string::npos);
    EXPECT_EQ(QV_SetFailifOptions(QV_DIAG_LOGFILE), unsigned{QV_DIAG_DEBUGGER});
    EXPECT_EQ(QV_SetTraceOptions(QV_DIAG_MSGBOX), unsigned{QV_DIAG_DEBUGGER | QV_DIAG_LOGFILE});
    DiagAssertA(0, "trace options don't count", nullptr, "f", 1);
    EXPECT_NE(test::log_content().find("trace options don't count"), std::string::npos);
}

TEST_F(AssertionReport, WithAStackWalkIsStillAReport)
{
    SetLastError(87);
    EXPECT_EQ(DiagAssertA(QV_DIAG_LOGFILE | QV_DIAG_STACKTRACE, "x", nullptr, "f", 1), 0);
    EXPECT_EQ(GetLastError(), 87u);
    EXPECT_NE(test::log_content().find("Last Error (0x00000057) : "), std::string::npos);
}

} // namespace
