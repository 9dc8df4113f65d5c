// The destinations of reports beside the log, the user's answers, failures on the way, and reports
// while another thread holds the lock of the stack lines, for long or for ever (it was terminated
// meanwhile).
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

// Asserts on that many threads; 0: on the main thread.
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

TEST_F(Assertion, WithTheModuleOfTheSourceIsAnErrorInTheEventLog)
{
    ASSERT_NE(dlopen(PLINTH_EVENT_MODULE, RTLD_NOW), nullptr) << dlerror();
    assert_with(QV_DIAG_EVENTLOG, "first");
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
    ASSERT_NE(dlopen(PLINTH_EVENT_MODULE, RTLD_NOW), nullptr) << dlerror();
    PlinthTestFail(GetParam().first.c_str(), GetParam().second, 1, ERROR_ACCESS_DENIED);
    SetLastError(7);
    EXPECT_EQ(assert_with(QV_DIAG_EVENTLOG | QV_DIAG_LOGFILE), 0);
    EXPECT_EQ(GetLastError(), 7u);
    EXPECT_TRUE(is_logged("Expression : x"));
    assert_with(QV_DIAG_EVENTLOG);
    EXPECT_TRUE(test::system_log().empty());
}
INSTANTIATE_TEST_SUITE_P(, AssertionEventFault,
                         testing::Values(EventFault("GetProcAddress", 1),
                                         EventFault("GetModuleHandleW", 1),
                                         EventFault("GetModuleFileNameW", 1),
                                         EventFault("RegCreateKey", 1),
                                         EventFault("RegSetValue", 1), EventFault("RegSetValue", 2),
                                         EventFault("RegisterEventSourceW", 1),
                                         EventFault("ReportEventW", 1), EventFault("syslog", 1)));

TEST_F(Assertion, WithoutAPathOfTheProgramGoesOn)
{
    PlinthTestFail("GetModuleFileNameA", 1, 1, ERROR_ACCESS_DENIED);
    assert_with(0);
    EXPECT_TRUE(is_logged("Program : <unknown application>\r\n"));
}

// ---- the lock of the stack lines

std::atomic<bool> g_hold{false}; // holds the next report
std::atomic<bool> g_held{false}; // is holding it, until set to false
thread_local bool t_flies = false;
thread_local int t_sleeps = 0;

} // namespace

// Each report calls this; one with stack lines calls it under the lock.
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

// A thread that holds the lock of the stack lines until the end of the scope.
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

// Makes a whole report, and returns whether it waited and whether it has stack lines.
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

// ---- the stack lines

// Asserts below that many frames.
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

using StackLines = test::FreshLog;

// In the library as it is built here, and in the optimised one.
TEST_F(StackLines, BeginWithTheCallerOfTheAssertion)
{
    const std::pair<std::string, const char*> rows[] = {
        {report_below(0), "debugging_tests: [^\n]*assert_below\\(int\\)@assertion_fault_test"},
        // The probe prints the path of its log.
        {test::read_file(test::output_of(PLINTH_ASSERT_PROBE)),
         "probe: probe_assert@assert_probe"}};
    for (const auto& [report, caller] : rows)
    {
        const std::string first =
            std::regex_replace(caller, std::regex("@"), " \\+ \\d+ bytes\n\t\t[^\n]*");
        EXPECT_TRUE(std::regex_search(
            report.substr(report.find("\r\n0x") + 2),
            std::regex("^0x[0-9A-F]{8} [^:]*" + first + "\\.cpp, Line \\d+( \\+ \\d+ bytes)?\n0x"),
            std::regex_constants::match_continuous))
            << report;
        EXPECT_EQ(report.find("DiagAssert.cpp"), std::string::npos) << "the reporter's own frames";
        EXPECT_NE(report.find(": main"), std::string::npos) << "the walk goes on to the end";
    }
}

TEST_F(StackLines, StayOutWholeWithoutRoom)
{
    PlinthTestArm();
    const std::string report = report_below(600);
    EXPECT_EQ(PlinthTestCalls("StackWalk64"), 512u);
    EXPECT_LE(report.size(), 4'095u);
    EXPECT_GT(report.size(), 3'000u);
    EXPECT_EQ(report.back(), '\n') << "no line is cut";
    EXPECT_NE(report.find("\n0x"), std::string::npos);
}

TEST_F(StackLines, AreNoneWithoutASymbolEngineAndComeBack)
{
    PlinthTestFail("SymInitialize", 1, 1, ERROR_NOT_ENOUGH_MEMORY);
    const std::string report = report_below(0);
    EXPECT_TRUE(is_logged("DiagAssert : Unable to initialize the symbol engine!!!\n\r\n"));
    EXPECT_TRUE(is_logged("Expression : deep\r\nLast Error"));
    EXPECT_EQ(report.find("\n0x"), std::string::npos) << report;
    PlinthTestFail("GetThreadContext", 1, 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(report_below(0).find("\n0x"), std::string::npos);
    EXPECT_NE(report_below(0).find("\n0x"), std::string::npos);
}

} // namespace
