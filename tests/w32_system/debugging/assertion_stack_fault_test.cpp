// The stack lines: the first one is the caller of the assertion, whatever it and the library were
// built with.
#include <cstdio>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>

#include "support/log_files.h"

namespace
{

struct Build
{
    const char* name;
    const char* probe;
    const char* caller; // null: the probe itself
    const char* function;
    const char* first_line; // pattern of the first stack line
};

// What a line with a source shows behind the symbol; @ stands for the report's own file and line.
#define SOURCE " \\+ \\d+ bytes\n\t\t@( \\+ \\d+ bytes)?"

const Build builds[] = {
    {"DebugProgram", PLINTH_ASSERT_PROBE, nullptr, "", "plinth_test_assert" SOURCE},
    {"DebugModule", PLINTH_ASSERT_PROBE, "debug", "plinth_test_assert",
     "plinth_test_assert" SOURCE},
    {"ReleaseModule", PLINTH_ASSERT_PROBE, "release", "plinth_test_assert",
     "plinth_test_assert" SOURCE},
    {"ReleaseProgramAndLibrary", PLINTH_ASSERT_PROBE_OPTIMISED, nullptr, "",
     "plinth_test_assert" SOURCE},
    {"DebugModuleReleaseLibrary", PLINTH_ASSERT_PROBE_OPTIMISED, "debug", "plinth_test_assert",
     "plinth_test_assert" SOURCE},
    {"ReleaseModuleAndLibrary", PLINTH_ASSERT_PROBE_OPTIMISED, "release", "plinth_test_assert",
     "plinth_test_assert" SOURCE},
    {"FunctionOfAnUnnamedNamespace", PLINTH_ASSERT_PROBE, "debug", "plinth_test_assert_within",
     "\\(anonymous namespace\\)::without_a_dynamic_symbol\\(unsigned int\\)" SOURCE},
    {"SeparateDebugFile", PLINTH_ASSERT_PROBE, "separate", "plinth_test_assert_within",
     "\\(anonymous namespace\\)::without_a_dynamic_symbol\\(unsigned int\\)" SOURCE},
    {"StrippedModule", PLINTH_ASSERT_PROBE, "stripped", "plinth_test_assert",
     "plinth_test_assert \\+ \\d+ bytes"},
    {"StrippedModuleWithin", PLINTH_ASSERT_PROBE, "stripped", "plinth_test_assert_within",
     "<unknown symbol>"},
};

std::string output_of(const std::string& command)
{
    std::string all;
    FILE* const pipe = popen(command.c_str(), "r");
    for (int c = 0; (c = fgetc(pipe)) != EOF;)
        all += static_cast<char>(c);
    EXPECT_EQ(pclose(pipe), 0) << command;
    return all;
}

std::string quoted(const std::string& text)
{
    return std::regex_replace(text, std::regex("[.\\\\+*?()|^$\\[\\]{}]"), "\\$&");
}

class StackLines : public testing::TestWithParam<Build>
{
};

TEST_P(StackLines, BeginWithTheCallerOfTheAssertion)
{
    const Build& build = GetParam();
    std::string module = build.probe;
    std::string command = build.probe;
    if (build.caller)
    {
        module = std::string(PLINTH_ASSERT_CALLERS) + build.caller + ".so";
        command += " " + module + " " + build.function;
    }
    const std::string report = output_of(command);
    std::smatch place;
    ASSERT_TRUE(std::regex_search(report, place, std::regex("File : ([^\r]*)\r\nLine : (\\d+)")))
        << report;

    std::string expected = build.first_line;
    const size_t at = expected.find('@');
    if (at != std::string::npos)
        expected.replace(at, 1, quoted(place[1].str() + ", Line " + place[2].str()));
    // The image's path without its drive and first separator.
    const std::string image = test::windows_form(module).utf8().substr(3);
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

INSTANTIATE_TEST_SUITE_P(, StackLines, testing::ValuesIn(builds),
                         [](const auto& each) { return std::string(each.param.name); });

// A stack of so many frames, with the assertion at its end.
__attribute__((noinline)) int assert_below(int frames)
{
    const int result =
        frames == 0 ? DiagAssertA(QV_DIAG_LOGFILE | QV_DIAG_STACKTRACE, "deep", nullptr, "f", 1)
                    : assert_below(frames - 1);
    return result + (frames != 0);
}

size_t stack_lines(const std::string& report)
{
    size_t count = 0;
    for (size_t at = 0; (at = report.find("\n0x", at)) != std::string::npos; ++at)
        ++count;
    return count;
}

class StackLinesHere : public testing::Test
{
protected:
    StackLinesHere()
    {
        CQvLogFile::SetMaxLogMessageLength(-1);
        test::start_log();
    }
    ~StackLinesHere() override { PlinthTestReset(); }
};

TEST_F(StackLinesHere, ThatHaveNoRoomStayOutWhole)
{
    assert_below(600);
    const std::string report = test::log_content();
    EXPECT_LE(report.size(), 4'095u);
    EXPECT_GT(report.size(), 3'000u);
    EXPECT_EQ(report.back(), '\n') << "no line is cut";
    EXPECT_GT(stack_lines(report), 5u);
}

TEST_F(StackLinesHere, AreMadeOf512FramesAtMost)
{
    PlinthTestArm();
    assert_below(600);
    EXPECT_EQ(PlinthTestCalls("StackWalk64"), 512u);
}

TEST_F(StackLinesHere, FindTheLineOfTheBytesBefore)
{
    // Fails the look-ups of one frame after the other, five of them each time: for the first frame
    // that is shown, the sixth finds the line.
    std::string found;
    for (unsigned nth = 1; nth <= 12 && found.empty(); ++nth)
    {
        PlinthTestReset();
        PlinthTestFail("SymGetLineFromAddr64", nth, 5, ERROR_INVALID_ADDRESS);
        test::start_log();
        assert_below(0);
        const std::string report = test::log_content();
        if (std::regex_search(report, std::regex("\r\n0x[^\n]*assert_below[^\n]*\n\t\t[^\n]*, Line "
                                                 "\\d+ \\+ 5 bytes\n")))
            found = report;
    }
    EXPECT_NE(found, "");
}

TEST_F(StackLinesHere, EndBehindTheSymbolWithoutALine)
{
    // The reporter's own lines are needed: 100 look-ups fail from each place on, until those of the
    // caller do.
    std::string found;
    for (unsigned nth = 1; nth <= 12 && found.empty(); ++nth)
    {
        PlinthTestReset();
        PlinthTestFail("SymGetLineFromAddr64", nth, 100, ERROR_INVALID_ADDRESS);
        test::start_log();
        assert_below(0);
        const std::string report = test::log_content();
        if (std::regex_search(report,
                              std::regex("\r\n0x[^\n]*assert_below[^\n]* \\+ \\d+ bytes\n0x")))
            found = report;
    }
    EXPECT_NE(found, "");
}

TEST_F(StackLinesHere, NameWhatTheyDoNotKnow)
{
    std::string module, symbol;
    for (unsigned nth = 1; nth <= 40 && (module.empty() || symbol.empty()); ++nth)
        for (const char* const operation : {"SymGetModuleInfo64", "SymGetSymFromAddr64"})
        {
            PlinthTestReset();
            PlinthTestFail(operation, nth, 1, ERROR_INVALID_ADDRESS);
            test::start_log();
            assert_below(0);
            const std::string report = test::log_content();
            if (std::regex_search(report, std::regex("\n0x[0-9A-F]{8} <unknown module>: [^\n]+\n")))
                module = report;
            if (std::regex_search(report, std::regex("\n0x[^\n]+: <unknown symbol>\n(0x|$)")))
                symbol = report;
        }
    EXPECT_NE(module, "");
    EXPECT_NE(symbol, "");
}

TEST_F(StackLinesHere, AreNoneWithoutTheLibraryThatReadsDebugInformation)
{
    PlinthTestFail("dlopen", 1, 1, ENOENT);
    assert_below(0);
    EXPECT_EQ(stack_lines(test::log_content()), 0u);
    EXPECT_NE(test::log_content().find("Unable to initialize the symbol engine"),
              std::string::npos);
    EXPECT_NE(test::log_content().find("Expression : deep\r\nLast Error"), std::string::npos);
}

} // namespace
