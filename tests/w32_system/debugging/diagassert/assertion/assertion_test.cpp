// The report of DiagAssertA in the log: its text, its cut, and threads that assert at once.
#include <atomic>
#include <barrier>
#include <regex>
#include <thread>

#include "support/log_files.h"
#include "support/soak.h"
#include "w32_system/debugging/debugwnd/debug_windows.h"

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
    SetLastError(0x2FFFFFFF);
    DiagAssertA(0, "x", nullptr, "f", 1);
    // If the error has no text, the text of the system is used.
    EXPECT_NE(log_content().find("Expression : x\r\nLast Error (0x2FFFFFFF) : "),
              std::string::npos);
    DiagAssertA(0, "x", nullptr, std::string(10'000, 'f').c_str(), 1);
    EXPECT_NE(log_content().find("File : " + std::string(504, 'f') + "\r\nLast Error ("),
              std::string::npos);
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
    QV_SetTraceOptions(QV_DIAG_LOGFILE);
    EXPECT_FALSE(is_logged(0)) << "trace options don't count";
    EXPECT_TRUE(is_logged(QV_DIAG_LOGFILE));
}

TEST_F(AssertionReport, IsMarkedOnTheChannel)
{
    static std::string first_text;
    static std::atomic<bool> arrived{false};
    const CQvDebugOutputCapture capture(
        [](const wchar_t* text)
        {
            if (!arrived)
                first_text = test::utf8(text);
            arrived = true;
        });
    EXPECT_TRUE(test::comes_true(
        []
        {
            DiagAssertA(QV_DIAG_DEBUGGER, "x", nullptr, "f", 1);
            return arrived.load();
        }));
    EXPECT_TRUE(first_text.starts_with("*** Debug Assertion Failed!\r\nProgram : ")) << first_text;
}

constexpr int threads = 4;
constexpr int rounds = 25;

template <int thread> [[gnu::noinline]] int assert_from(unsigned options)
{
    const std::string expression = "thread " + std::to_string(thread);
    const std::string message(300, static_cast<char>('a' + thread));
    SetLastError(thread + 1);
    const int result = DiagAssertA(options, expression.c_str(), message.c_str(), "f", thread);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(thread + 1));
    return result + thread;
}

constexpr int (*callers[threads])(unsigned) = {assert_from<0>, assert_from<1>, assert_from<2>,
                                               assert_from<3>};

// All threads begin their first report at the same time; the first report starts the symbol engine.
void assert_on_all(unsigned options)
{
    std::barrier start(threads);
    std::vector<std::jthread> all;
    for (const auto caller : callers)
        all.emplace_back(
            [&start, caller, options]
            {
                start.arrive_and_wait();
                for (int i = 0; i < rounds; ++i)
                    caller(options);
            });
}

// The thread that made a report, or -1 if the report isn't whole and of one thread.
int thread_of(const std::string& report, bool stack)
{
    for (int thread = 0; thread < threads; ++thread)
    {
        const std::string number = std::to_string(thread);
        if (report.find("\r\nFile : f\r\nLine : " + number + "\r\nExpression : thread " + number +
                        "\r\n" + std::string(300, static_cast<char>('a' + thread)) +
                        "\r\nLast Error (0x0000000" + std::to_string(thread + 1) + ") : ") ==
            std::string::npos)
            continue;
        const size_t line = report.find("\r\n0x");
        if (!stack ||
            (line != std::string::npos &&
             report.substr(line, report.find('\n', line + 2) - line)
                     .find("assert_from<" + number + ">(unsigned int)") != std::string::npos))
            return thread;
    }
    return -1;
}

void expect_whole_reports(bool stack)
{
    const std::string content = log_content();
    const std::string head = "Debug Assertion Failed!\r\n";
    std::vector<int> count(threads);
    for (size_t at = content.find(head); at != std::string::npos;)
    {
        const size_t next = content.find(head, at + 1);
        const std::string report = content.substr(at, next - at);
        const int thread = thread_of(report, stack);
        ASSERT_GE(thread, 0) << report;
        ++count[static_cast<size_t>(thread)];
        at = next;
    }
    EXPECT_EQ(count, std::vector(threads, rounds));
}

using ConcurrentAssertions = test::FreshLog;

TEST_F(ConcurrentAssertions, GiveWholeReports)
{
    assert_on_all(QV_DIAG_LOGFILE | QV_DIAG_DEBUGGER);
    expect_whole_reports(false);
}

#ifndef _WIN32 // Windows doesn't understand this compiler's debug information

TEST_F(ConcurrentAssertions, GiveWholeReportsWithTheirOwnStackLines)
{
    uint64_t reports = 0;
    const test::SoakTime time;
    do
    {
        test::start_log();
        assert_on_all(QV_DIAG_LOGFILE | QV_DIAG_STACKTRACE);
        expect_whole_reports(true);
        reports += threads * rounds;
    } while (time.goes_on() && !HasFailure());
    time.report("reports with stack lines", reports);
}

#endif

} // namespace
