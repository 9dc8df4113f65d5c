// The stack lines: the first one is the caller of the assertion, whatever it and the library were
// built with.
#include <regex>

#include <plinth_platform_test.h>

#include "support/commands.h"
#include "support/log_files.h"

namespace
{

struct Build
{
    const char* probe;
    const char* caller;     // a module and its function; null: the probe itself
    const char* first_line; // pattern of the first stack line
};

// What a line with a source shows behind the symbol; @ stands for the report's own file and line.
#define SOURCE " \\+ \\d+ bytes\n\t\t@( \\+ \\d+ bytes)?"
#define WITHIN "\\(anonymous namespace\\)::without_a_dynamic_symbol\\(unsigned int\\)"

const Build builds[] = {
    {PLINTH_ASSERT_PROBE, nullptr, "plinth_test_assert" SOURCE},
    {PLINTH_ASSERT_PROBE, "debug.so plinth_test_assert", "plinth_test_assert" SOURCE},
    {PLINTH_ASSERT_PROBE, "release.so plinth_test_assert", "plinth_test_assert" SOURCE},
    {PLINTH_ASSERT_PROBE_OPTIMISED, nullptr, "plinth_test_assert" SOURCE},
    {PLINTH_ASSERT_PROBE_OPTIMISED, "debug.so plinth_test_assert", "plinth_test_assert" SOURCE},
    {PLINTH_ASSERT_PROBE_OPTIMISED, "release.so plinth_test_assert", "plinth_test_assert" SOURCE},
    {PLINTH_ASSERT_PROBE, "debug.so plinth_test_assert_within", WITHIN SOURCE},
    {PLINTH_ASSERT_PROBE, "separate.so plinth_test_assert_within", WITHIN SOURCE},
    {PLINTH_ASSERT_PROBE, "stripped.so plinth_test_assert", "plinth_test_assert \\+ \\d+ bytes"},
    {PLINTH_ASSERT_PROBE, "stripped.so plinth_test_assert_within", "<unknown symbol>"},
};

std::string quoted(const std::string& text)
{
    return std::regex_replace(text, std::regex("[.\\\\+*?()|^$\\[\\]{}]"), "\\$&");
}

TEST(StackLines, BeginWithTheCallerOfTheAssertion)
{
    for (const Build& build : builds)
    {
        const std::string caller =
            build.caller ? std::string(PLINTH_ASSERT_CALLERS) + build.caller : build.probe;
        SCOPED_TRACE(std::string(build.probe) + ": " + caller);
        // The probe prints the path of its log.
        const std::string report = test::read_file(
            test::output_of(build.caller ? build.probe + (" " + caller) : build.probe));
        std::smatch place;
        ASSERT_TRUE(
            std::regex_search(report, place, std::regex("File : ([^\r]*)\r\nLine : (\\d+)")))
            << report;
        std::string expected = build.first_line;
        if (const size_t at = expected.find('@'); at != std::string::npos)
            expected.replace(at, 1, quoted(place[1].str() + ", Line " + place[2].str()));
        // The image's path without its drive and first separator.
        const std::string image =
            test::windows_form(caller.substr(0, caller.find(' '))).utf8().substr(3);
        const size_t lines = report.find("\r\n0x");
        ASSERT_NE(lines, std::string::npos) << report;
        EXPECT_TRUE(std::regex_search(
            report.substr(lines + 2),
            std::regex("^0x[0-9A-F]{8} " + quoted(image) + ": " + expected + "\n(0x|$)"),
            std::regex_constants::match_continuous))
            << expected << "\n"
            << report;
        EXPECT_EQ(report.find("DiagAssert.cpp"), std::string::npos) << "the reporter's own frames";
        EXPECT_EQ(report.find("stack_lines.cpp"), std::string::npos);
        EXPECT_NE(report.find(": main"), std::string::npos) << "the walk goes on to the end";
    }
}

// A stack of so many frames, with the assertion at its end.
__attribute__((noinline)) int assert_below(int frames)
{
    const int result =
        frames == 0 ? DiagAssertA(QV_DIAG_LOGFILE | QV_DIAG_STACKTRACE, "deep", nullptr, "f", 1)
                    : assert_below(frames - 1);
    return result + (frames != 0);
}

std::string report_below(int frames)
{
    test::start_log();
    assert_below(frames);
    return test::log_content();
}

size_t stack_lines(const std::string& report)
{
    size_t count = 0;
    for (size_t at = 0; (at = report.find("\n0x", at)) != std::string::npos; ++at)
        ++count;
    return count;
}

bool has(const std::string& report, const std::string& text)
{
    return report.find(text) != std::string::npos;
}

using StackLinesHere = test::FreshLog;

TEST_F(StackLinesHere, ThatHaveNoRoomStayOutWhole)
{
    PlinthTestArm();
    const std::string report = report_below(600);
    EXPECT_EQ(PlinthTestCalls("StackWalk64"), 512u);
    EXPECT_LE(report.size(), 4'095u);
    EXPECT_GT(report.size(), 3'000u);
    EXPECT_EQ(report.back(), '\n') << "no line is cut";
    EXPECT_GT(stack_lines(report), 5u);
}

TEST_F(StackLinesHere, SayWhatALookUpThatFailedLeavesOut)
{
    const struct
    {
        const char* operation;
        unsigned count; // of calls that fail, from each place on, until those for a shown line do
        const char* line;
    } rows[] = {{"SymGetLineFromAddr64", 5,
                 "\r\n0x[^\n]*assert_below[^\n]*\n\t\t[^\n]*, Line \\d+ \\+ 5 bytes\n"},
                {"SymGetLineFromAddr64", 99,
                 "\r\n0x[^\n]*assert_below[^\n]*\n\t\t[^\n]*, Line \\d+ \\+ 99 bytes\n"},
                {"SymGetLineFromAddr64", 100, "\r\n0x[^\n]*assert_below[^\n]* \\+ \\d+ bytes\n0x"},
                {"SymGetModuleInfo64", 1, "\n0x[0-9A-F]{8} <unknown module>: [^\n]+\n"},
                {"SymGetSymFromAddr64", 1, "\n0x[^\n]+: <unknown symbol>\n(0x|$)"}};
    for (const auto& row : rows)
    {
        bool found = false;
        for (unsigned nth = 1; nth <= 40 && !found; ++nth)
        {
            PlinthTestReset();
            PlinthTestFail(row.operation, nth, row.count, ERROR_INVALID_ADDRESS);
            found = std::regex_search(report_below(0), std::regex(row.line));
        }
        EXPECT_TRUE(found) << row.operation << " " << row.count;
    }
}

TEST_F(StackLinesHere, EndWhereTheWalkFails)
{
    ASSERT_GT(stack_lines(report_below(0)), 5u);
    PlinthTestFail("StackWalk64", 7, 0, ERROR_INVALID_ADDRESS);
    const size_t cut = stack_lines(report_below(0));
    EXPECT_GT(cut, 0u);
    EXPECT_LT(cut, 6u) << "six frames, and the reporter's are among them";
}

TEST_F(StackLinesHere, AreNoneWithoutAThreadContext)
{
    PlinthTestFail("GetThreadContext", 1, 1, ERROR_ACCESS_DENIED);
    SetLastError(0);
    const std::string report = report_below(0);
    EXPECT_TRUE(has(report, "Last Error (0x00000000) : "));
    EXPECT_EQ(stack_lines(report), 0u) << report;
}

void expect_no_engine(const std::string& report)
{
    EXPECT_TRUE(has(report, "DiagAssert : Unable to initialize the symbol engine!!!\n\r\n"));
    EXPECT_TRUE(has(report, "Expression : deep\r\nLast Error"));
    EXPECT_EQ(stack_lines(report), 0u) << report;
}

TEST_F(StackLinesHere, ComeBackWhenTheSymbolEngineStarts)
{
    PlinthTestFail("SymInitialize", 1, 1, ERROR_NOT_ENOUGH_MEMORY);
    expect_no_engine(report_below(0));
    const std::string report = report_below(0);
    EXPECT_GT(stack_lines(report), 0u);
    EXPECT_FALSE(has(report, "Unable"));
}

TEST_F(StackLinesHere, AreNoneWithoutTheLibraryThatReadsDebugInformation)
{
    PlinthTestFail("dlopen", 1, 1, ENOENT);
    expect_no_engine(report_below(0));
}

} // namespace
