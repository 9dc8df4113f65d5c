// Where reports go beside the log, what the user can answer, failures on the way, and reports while
// the lock of the stack lines is held for long, or for ever: by a thread that is terminated over
// them.
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <regex>
#include <thread>

#include <dlfcn.h>
#include <syslog.h>
#include <unistd.h>

#include <plinth_platform_test.h>

#include "support/child_process.h"
#include "support/commands.h"
#include "support/instead.h"
#include "support/log_files.h"
#include "support/system_log.h"

namespace
{

class Assertion : public test::FreshLog
{
protected:
    Assertion() { test::clear_system_log(); }
    ~Assertion() override { unsetenv("PLINTH_MESSAGEBOX"); }
};

int assert_with(unsigned options, const char* expression = "x")
{
    return DiagAssertA(options, expression, nullptr, "f", 1);
}

bool is_logged(const char* text)
{
    return test::log_content().find(text) != std::string::npos;
}

int assert_to_channel(int, char**)
{
    dup2(STDOUT_FILENO, STDERR_FILENO);
    QV_SetTraceOptions(QV_DIAG_MSGBOX);
    DiagAssertA(QV_DIAG_DEBUGGER | QV_DIAG_STACKTRACE, "x", std::string(500, 'm').c_str(), "f", 1);
    std::fputs("\nend\n", stdout);
    return 0;
}
const test::ChildMain assert_to_channel_main("assert-to-channel", assert_to_channel);

TEST_F(Assertion, OnTheChannelHasAMarkBeforeItAndIsCutAt1023Characters)
{
    test::ChildProcess child("assert-to-channel", {}, {"PLINTH_DEBUG_OUTPUT=stderr"});
    std::string text;
    for (std::string line; (line = child.line()) != "end";)
        text += line + "\n";
    EXPECT_EQ(child.wait(), 0);
    const size_t start = text.find("*** Debug Assertion Failed!\r\nProgram : ");
    ASSERT_NE(start, std::string::npos) << text;
    EXPECT_GE(text.size() - start, 1023u);
    EXPECT_LE(text.size() - start, 1023u + 2u) << "the line ends are the child's";
}

TEST_F(Assertion, RetryIsOneAndIgnoreIsNothing)
{
    setenv("PLINTH_MESSAGEBOX", "retry", 1);
    SetLastError(3);
    EXPECT_EQ(assert_with(QV_DIAG_MSGBOX), 1);
    setenv("PLINTH_MESSAGEBOX", "ignore", 1);
    EXPECT_EQ(assert_with(QV_DIAG_MSGBOX), 0);
    EXPECT_EQ(GetLastError(), 3u);
    EXPECT_EQ(test::log_content(), "");
    setenv("PLINTH_MESSAGEBOX", "retry", 1);
    PlinthTestFail("write", 1, 0, ENOSPC);
    EXPECT_EQ(assert_with(QV_DIAG_LOGFILE | QV_DIAG_MSGBOX), 1) << "whether or not it is logged";
}

struct SayAtTheEnd
{
    ~SayAtTheEnd()
    {
        if (m_armed)
            test::say("ended in order");
    }
    bool m_armed = false;
} g_at_the_end;

// On so many threads, 0: on the main thread.
int assert_and_end(int, char** argv)
{
    g_at_the_end.m_armed = true;
    const int threads = std::atoi(argv[0]);
    if (std::getenv("PLINTH_MESSAGEBOX") == std::string("ignore"))
        PlinthTestFail("MessageBoxW", 1, 0, ERROR_NO_SYSTEM_RESOURCES);
    const auto call = []
    {
        assert_with(QV_DIAG_MSGBOX | QV_DIAG_LOGFILE, "the last word");
        test::say("went on");
    };
    if (threads == 0)
        call();
    for (int i = 0; i < threads; ++i)
        std::thread(call).detach();
    while (threads != 0)
        pause();
    return 0;
}
const test::ChildMain assert_and_end_main("assert-and-end", assert_and_end);

TEST_F(Assertion, AbortOrAMissingBoxEndsTheProcessOnceInOrderBehindTheEntryInTheLog)
{
    const char* const rows[][2] = {
        {"0", "abort"}, {"1", "abort"}, {"4", "abort"}, {"0", "fail"}, {"0", "ignore"}};
    for (const auto& [threads, answer] : rows)
    {
        SCOPED_TRACE(std::string(threads) + " threads, " + answer);
        test::ChildProcess child("assert-and-end", {threads},
                                 {std::string("PLINTH_MESSAGEBOX=") + answer});
        ASSERT_EQ(child.line(), "ended in order");
        EXPECT_EQ(child.line(), "");
        EXPECT_EQ(child.wait(), 255);
        EXPECT_NE(test::read_log(test::log_names().back()).find("Expression : the last word"),
                  std::string::npos);
    }
}

constexpr const wchar_t* source_key =
    L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\BugslayerUtil";

// A value of the source's key and its type: "" and 0 without the key.
std::pair<std::string, DWORD> source_value(const wchar_t* name)
{
    HKEY key = nullptr;
    char bytes[1024];
    DWORD size = sizeof bytes, type = 0;
    if (RegOpenKeyW(HKEY_LOCAL_MACHINE, source_key, &key) != 0)
        return {"", 0};
    EXPECT_EQ(RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(bytes), &size),
              0);
    RegCloseKey(key);
    return {{bytes, size}, type};
}

bool load_event_module()
{
    return dlopen(PLINTH_EVENT_MODULE, RTLD_NOW) != nullptr;
}

TEST_F(Assertion, WithTheModuleOfTheSourceIsAnErrorInTheEventLog)
{
    ASSERT_TRUE(load_event_module()) << dlerror();
    assert_with(QV_DIAG_EVENTLOG, "first");
    const test::Wide path = test::windows_form(PLINTH_EVENT_MODULE);
    const std::string with_terminator(reinterpret_cast<const char*>(path.c_str()),
                                      (path.size() + 1) * sizeof(wchar_t));
    EXPECT_EQ(source_value(L"EventMessageFile"), std::pair(with_terminator, DWORD{REG_EXPAND_SZ}));
    EXPECT_EQ(source_value(L"TypesSupported"),
              std::pair(std::string("\7\0\0\0", 4), DWORD{REG_DWORD}));
    assert_with(QV_DIAG_EVENTLOG, "second");
    const std::vector<test::SystemLogMessage> events = test::system_log();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].priority, LOG_USER | LOG_ERR);
    EXPECT_TRUE(events[0].text.starts_with(
        "BugslayerUtil (event 0xE0020040): Debug Assertion Failed!\nProgram : C:\\"))
        << events[0].text;
    EXPECT_NE(events[1].text.find("\nExpression : second\n"), std::string::npos);
}

// The operation that fails, and which call of it. Each row needs a process of its own.
using EventFault = std::pair<std::string, unsigned>;
class AssertionEventFault : public Assertion, public testing::WithParamInterface<EventFault>
{
};

TEST_P(AssertionEventFault, ClosesTheEventLogForTheProcessAndNothingElse)
{
    ASSERT_TRUE(load_event_module()) << dlerror();
    PlinthTestFail(GetParam().first.c_str(), GetParam().second, 1, ERROR_ACCESS_DENIED);
    SetLastError(7);
    EXPECT_EQ(assert_with(QV_DIAG_EVENTLOG | QV_DIAG_LOGFILE), 0);
    EXPECT_EQ(GetLastError(), 7u);
    EXPECT_TRUE(is_logged("Expression : x"));
    assert_with(QV_DIAG_EVENTLOG);
    EXPECT_TRUE(test::system_log().empty());
}
INSTANTIATE_TEST_SUITE_P(, AssertionEventFault,
                         testing::Values(EventFault("GetModuleHandleW", 1),
                                         EventFault("GetModuleFileNameW", 1),
                                         EventFault("RegCreateKey", 1),
                                         EventFault("RegSetValue", 1), EventFault("RegSetValue", 2),
                                         EventFault("RegisterEventSourceW", 1),
                                         EventFault("ReportEventW", 1), EventFault("syslog", 1)));

TEST_F(Assertion, WithoutTheEventFunctionsOrAPathOfTheProgramGoesOn)
{
    PlinthTestFail("GetProcAddress", 1, 3, ERROR_PROC_NOT_FOUND);
    assert_with(QV_DIAG_EVENTLOG);
    assert_with(QV_DIAG_EVENTLOG);
    EXPECT_EQ(PlinthTestCalls("GetModuleHandleW"), 0u);
    EXPECT_TRUE(test::system_log().empty());
    PlinthTestReset();
    PlinthTestFail("GetModuleFileNameA", 1, 1, ERROR_ACCESS_DENIED);
    assert_with(0);
    EXPECT_TRUE(is_logged("Program : <unknown application>\r\n"));
}

// ---- the lock of the stack lines

std::atomic<bool> g_hold{false}; // the next report
std::atomic<bool> g_held{false}; // until it is let go
thread_local bool t_flies = false;
thread_local int t_sleeps = 0;

} // namespace

// Part of each report; of one with stack lines, under the lock.
TEST_INSTEAD DWORD GetModuleFileNameA(HMODULE module, LPSTR path, DWORD size)
{
    if (g_hold.exchange(false))
    {
        g_held = true;
        g_held.notify_all();
        g_held.wait(true);
    }
    return TEST_REAL(GetModuleFileNameA)(module, path, size);
}

TEST_INSTEAD void Sleep(DWORD milliseconds)
{
    static auto* const real = TEST_REAL(Sleep);
    ++t_sleeps;
    if (!t_flies)
        real(milliseconds);
}

namespace
{

constexpr unsigned with_lines = QV_DIAG_LOGFILE | QV_DIAG_STACKTRACE;

// A thread that has the lock for its stack lines, until the scope ends.
struct Holder
{
    Holder()
    {
        g_hold = true;
        m_thread = std::jthread([] { assert_with(with_lines); });
        g_held.wait(false);
    }
    ~Holder()
    {
        g_held = false;
        g_held.notify_all();
    }
    std::jthread m_thread;
};

// Makes a whole report, and tells whether it waited and whether it has stack lines.
std::string report(unsigned options)
{
    test::start_log();
    t_sleeps = 0;
    assert_with(options);
    const int sleeps = t_sleeps;
    EXPECT_TRUE(sleeps == 0 || sleeps > 1'000) << sleeps;
    EXPECT_TRUE(is_logged("Last Error ("));
    return std::string(sleeps ? "waits" : "at once") + (is_logged("\n0x") ? ", lines" : "");
}

TEST_F(Assertion, WaitsForTheLockOfTheStackLinesOnceUntilItIsFreeAgain)
{
    t_flies = true;
    for (int round = 0; round < 2; ++round)
    {
        {
            const Holder holder;
            EXPECT_EQ(report(QV_DIAG_LOGFILE), "at once") << "it needs no lock";
            EXPECT_EQ(report(with_lines), "waits");
            EXPECT_EQ(report(with_lines), "at once");
        }
        EXPECT_EQ(report(with_lines), "at once, lines");
    }
    t_flies = false;
}

// ---- the stack lines: the first one is the caller of the assertion, whatever it and the library
// were built with

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

using StackLinesHere = test::FreshLog;

TEST_F(StackLinesHere, StayOutWholeWithoutRoomAndEndWhereTheWalkFails)
{
    PlinthTestArm();
    const std::string report = report_below(600);
    EXPECT_EQ(PlinthTestCalls("StackWalk64"), 512u);
    EXPECT_LE(report.size(), 4'095u);
    EXPECT_GT(report.size(), 3'000u);
    EXPECT_EQ(report.back(), '\n') << "no line is cut";
    EXPECT_GT(stack_lines(report), 5u);
    PlinthTestFail("StackWalk64", 7, 0, ERROR_INVALID_ADDRESS);
    const size_t before_the_failure = stack_lines(report_below(0));
    EXPECT_GT(before_the_failure, 0u);
    EXPECT_LT(before_the_failure, 6u) << "six frames, and the reporter's are among them";
}

TEST_F(StackLinesHere, SayWhatALookUpThatFailedLeavesOut)
{
    const struct
    {
        const char* operation;
        unsigned count; // of calls that fail, from each place on, until those for a shown line do
        const char* line;
    } rows[] = {{"SymGetLineFromAddr64", 99,
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

TEST_F(StackLinesHere, AreNoneWithoutASymbolEngineOrAThreadContextAndComeBack)
{
    PlinthTestFail("SymInitialize", 1, 1, ERROR_NOT_ENOUGH_MEMORY);
    std::string report = report_below(0);
    EXPECT_TRUE(is_logged("DiagAssert : Unable to initialize the symbol engine!!!\n\r\n"));
    EXPECT_TRUE(is_logged("Expression : deep\r\nLast Error"));
    EXPECT_EQ(stack_lines(report), 0u) << report;
    PlinthTestFail("GetThreadContext", 1, 1, ERROR_ACCESS_DENIED);
    SetLastError(0);
    report = report_below(0);
    EXPECT_TRUE(is_logged("Last Error (0x00000000) : "));
    EXPECT_EQ(stack_lines(report), 0u) << report;
    report = report_below(0);
    EXPECT_GT(stack_lines(report), 0u);
    EXPECT_FALSE(is_logged("Unable"));
}

} // namespace
