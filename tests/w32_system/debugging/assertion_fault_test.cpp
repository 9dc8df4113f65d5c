// Where reports go beside the log, what the user can answer, and failures on the way.
#include <cerrno>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <syslog.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>

#include "support/child_process.h"
#include "support/log_files.h"
#include "support/system_log.h"

namespace
{

class Assertion : public testing::Test
{
protected:
    Assertion()
    {
        test::clear_system_log();
        CQvLogFile::SetMaxLogMessageLength(-1);
        test::start_log();
    }
    ~Assertion() override
    {
        PlinthTestReset();
        unsetenv("PLINTH_MESSAGEBOX");
    }
};

// ---- the debug string channel

int assert_to_channel(int, char** argv)
{
    dup2(STDOUT_FILENO, STDERR_FILENO);
    QV_SetTraceOptions(QV_DIAG_MSGBOX);
    const std::string message(static_cast<size_t>(atoi(argv[0])), 'm');
    DiagAssertA(QV_DIAG_DEBUGGER | QV_DIAG_STACKTRACE, "x", message.c_str(), "f", 1);
    std::fputs("\nend\n", stdout);
    return 0;
}
const test::ChildMain assert_to_channel_main("assert-to-channel", assert_to_channel);

std::string channel_text(const char* message_length)
{
    test::ChildProcess child("assert-to-channel", {message_length}, {"PLINTH_DEBUG_OUTPUT=stderr"});
    std::string all;
    for (std::string line; (line = child.line()) != "end";)
        all += line + "\n";
    EXPECT_EQ(child.wait(), 0);
    const size_t start = all.find("*** ");
    return start == std::string::npos ? all : all.substr(start);
}

TEST_F(Assertion, OnTheChannelHasAMarkBeforeItAndIsCutAt1023Characters)
{
    const std::string text = channel_text("500");
    EXPECT_EQ(text.rfind("*** Debug Assertion Failed!\r\nProgram : ", 0), 0u) << text;
    EXPECT_GE(text.size(), 1023u);
    EXPECT_LE(text.size(), 1023u + 2u) << "the line ends are the child's";
}

// ---- the answers

TEST_F(Assertion, RetryIsOneAndIgnoreIsNothing)
{
    setenv("PLINTH_MESSAGEBOX", "retry", 1);
    SetLastError(3);
    EXPECT_EQ(DiagAssertA(QV_DIAG_MSGBOX, "x", nullptr, "f", 1), 1);
    setenv("PLINTH_MESSAGEBOX", "ignore", 1);
    EXPECT_EQ(DiagAssertA(QV_DIAG_MSGBOX, "x", nullptr, "f", 1), 0);
    EXPECT_EQ(GetLastError(), 3u);
    EXPECT_EQ(test::log_content(), "");
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

int assert_and_end(int, char** argv)
{
    g_at_the_end.m_armed = true;
    if (std::string(argv[0]) == "fault")
        PlinthTestFail("MessageBoxW", 1, 0, ERROR_NO_SYSTEM_RESOURCES);
    const auto call = []
    {
        DiagAssertA(QV_DIAG_MSGBOX | QV_DIAG_LOGFILE, "the last word", nullptr, "f", 1);
        test::say("went on");
    };
    if (std::string(argv[0]) == "thread")
        std::thread(call).join();
    else
        call();
    return 0;
}
const test::ChildMain assert_and_end_main("assert-and-end", assert_and_end);

void expect_orderly_end(const char* how, const char* answer)
{
    test::ChildProcess child("assert-and-end", {how}, {std::string("PLINTH_MESSAGEBOX=") + answer});
    EXPECT_EQ(child.line(), "ended in order") << how;
    EXPECT_EQ(child.wait(), 255) << how;
    EXPECT_NE(test::read_file(test::log_folder() + "/" + test::log_names().back())
                  .find("Expression : the last word"),
              std::string::npos)
        << how;
}

TEST_F(Assertion, AbortEndsTheProcessInOrderBehindTheEntryInTheLog)
{
    expect_orderly_end("main", "abort");
    expect_orderly_end("thread", "abort");
}

TEST_F(Assertion, WithoutABoxToBeHadEndsTheProcessToo)
{
    expect_orderly_end("main", "fail");
    expect_orderly_end("fault", "ignore");
}

// Aborts on two threads at once end the process once.
int abort_on_all_threads(int, char**)
{
    g_at_the_end.m_armed = true;
    for (int i = 0; i < 4; ++i)
        std::thread([] { DiagAssertA(QV_DIAG_MSGBOX, "x", nullptr, "f", 1); }).detach();
    for (;;)
        pause();
}
const test::ChildMain abort_on_all_threads_main("abort-on-all-threads", abort_on_all_threads);

TEST_F(Assertion, AbortsOfSeveralThreadsEndTheProcessOnce)
{
    test::ChildProcess child("abort-on-all-threads", {}, {"PLINTH_MESSAGEBOX=abort"});
    EXPECT_EQ(child.line(), "ended in order");
    EXPECT_EQ(child.line(), "");
    EXPECT_EQ(child.wait(), 255);
}

// ---- the event log

constexpr const wchar_t* source_key =
    L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\BugslayerUtil";

bool source_is_registered()
{
    HKEY key = nullptr;
    if (RegOpenKeyW(HKEY_LOCAL_MACHINE, source_key, &key) != 0)
        return false;
    wchar_t path[MAX_PATH];
    DWORD size = sizeof path, type = 0, types = 0, types_size = sizeof types;
    EXPECT_EQ(RegQueryValueExW(key, L"EventMessageFile", nullptr, &type,
                               reinterpret_cast<BYTE*>(path), &size),
              0);
    EXPECT_EQ(type, REG_EXPAND_SZ);
    EXPECT_EQ(test::native_form(path), PLINTH_EVENT_MODULE);
    EXPECT_EQ(size, (test::utf8(path).size() + 1) * sizeof *path) << "with the terminator";
    EXPECT_EQ(RegQueryValueExW(key, L"TypesSupported", nullptr, &type,
                               reinterpret_cast<BYTE*>(&types), &types_size),
              0);
    EXPECT_EQ(type, REG_DWORD);
    EXPECT_EQ(types, 7u);
    RegCloseKey(key);
    return true;
}

void assert_to_event_log(const char* expression)
{
    DiagAssertA(QV_DIAG_EVENTLOG, expression, nullptr, "f", 1);
}

TEST_F(Assertion, WithoutTheModuleOfTheSourceNothingReachesTheEventLogEver)
{
    assert_to_event_log("x");
    EXPECT_FALSE(source_is_registered());
    ASSERT_NE(dlopen(PLINTH_EVENT_MODULE, RTLD_NOW), nullptr) << dlerror();
    assert_to_event_log("x");
    EXPECT_FALSE(source_is_registered()) << "the first failure is for good";
    EXPECT_TRUE(test::system_log().empty());
}

TEST_F(Assertion, WithTheModuleOfTheSourceIsAnErrorInTheEventLog)
{
    ASSERT_NE(dlopen(PLINTH_EVENT_MODULE, RTLD_NOW), nullptr) << dlerror();
    assert_to_event_log("first");
    EXPECT_TRUE(source_is_registered());
    assert_to_event_log("second");
    const std::vector<test::SystemLogMessage> events = test::system_log();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].priority, LOG_USER | LOG_ERR);
    EXPECT_EQ(events[0].text.rfind(
                  "BugslayerUtil (event 0xE0020040): Debug Assertion Failed!\nProgram : C:\\", 0),
              0u)
        << events[0].text;
    EXPECT_NE(events[1].text.find("\nExpression : second\n"), std::string::npos);
}

struct EventFault
{
    const char* operation;
    unsigned nth;
};
class AssertionEventFault : public Assertion, public testing::WithParamInterface<EventFault>
{
};

TEST_P(AssertionEventFault, ClosesTheEventLogForTheProcessAndNothingElse)
{
    ASSERT_NE(dlopen(PLINTH_EVENT_MODULE, RTLD_NOW), nullptr) << dlerror();
    PlinthTestFail(GetParam().operation, GetParam().nth, 1, ERROR_ACCESS_DENIED);
    SetLastError(7);
    EXPECT_EQ(DiagAssertA(QV_DIAG_EVENTLOG | QV_DIAG_LOGFILE, "x", nullptr, "f", 1), 0);
    EXPECT_EQ(GetLastError(), 7u);
    EXPECT_NE(test::log_content().find("Expression : x"), std::string::npos);
    assert_to_event_log("x");
    EXPECT_TRUE(test::system_log().empty());
}

std::string fault_name(const testing::TestParamInfo<EventFault>& each)
{
    return each.param.operation + std::to_string(each.param.nth);
}
INSTANTIATE_TEST_SUITE_P(, AssertionEventFault,
                         testing::Values(EventFault{"GetModuleHandleW", 1},
                                         EventFault{"GetModuleFileNameW", 1},
                                         EventFault{"RegCreateKey", 1},
                                         EventFault{"RegSetValue", 1}, EventFault{"RegSetValue", 2},
                                         EventFault{"RegisterEventSourceW", 1},
                                         EventFault{"ReportEventW", 1}, EventFault{"syslog", 1}),
                         fault_name);

TEST_F(Assertion, WithoutTheEventFunctionsGoesOnTryingToNoAvail)
{
    PlinthTestFail("GetProcAddress", 1, 3, ERROR_PROC_NOT_FOUND);
    assert_to_event_log("x");
    assert_to_event_log("x");
    EXPECT_EQ(PlinthTestCalls("GetModuleHandleW"), 0u);
    EXPECT_TRUE(test::system_log().empty());
}

// ---- failures on the way to the text

TEST_F(Assertion, NamesAProgramWithoutAPathAsUnknown)
{
    PlinthTestFail("GetModuleFileNameA", 1, 1, ERROR_ACCESS_DENIED);
    DiagAssertA(0, "x", nullptr, "f", 1);
    EXPECT_NE(test::log_content().find("Program : <unknown application>\r\n"), std::string::npos);
}

TEST_F(Assertion, GoesOnToTheBoxWhenTheLogFails)
{
    setenv("PLINTH_MESSAGEBOX", "retry", 1);
    QV_Log(L"open\r\n");
    PlinthTestFail("write", 1, 0, ENOSPC);
    EXPECT_EQ(DiagAssertA(QV_DIAG_LOGFILE | QV_DIAG_MSGBOX, "x", nullptr, "f", 1), 1);
    PlinthTestReset();
    EXPECT_EQ(test::log_content(), "open\r\n");
}

TEST_F(Assertion, WithoutAThreadContextHasNoStackLines)
{
    PlinthTestFail("GetThreadContext", 1, 1, ERROR_ACCESS_DENIED);
    SetLastError(0);
    DiagAssertA(QV_DIAG_LOGFILE | QV_DIAG_STACKTRACE, "x", nullptr, "f", 1);
    const std::string report = test::log_content();
    EXPECT_NE(report.find("Last Error (0x00000000) : "), std::string::npos);
    EXPECT_EQ(report.find("\n0x"), std::string::npos) << report;
}

TEST_F(Assertion, TracesASymbolEngineThatDoesNotStartAndTriesAgain)
{
    PlinthTestFail("SymInitialize", 1, 1, ERROR_NOT_ENOUGH_MEMORY);
    DiagAssertA(QV_DIAG_LOGFILE | QV_DIAG_STACKTRACE, "first", nullptr, "f", 1);
    const std::string report = test::log_content();
    EXPECT_NE(report.find("DiagAssert : Unable to initialize the symbol engine!!!\n\r\n"),
              std::string::npos);
    EXPECT_NE(report.find("Expression : first\r\nLast Error"), std::string::npos);
    EXPECT_EQ(report.find("\n0x"), std::string::npos) << report;

    test::start_log();
    DiagAssertA(QV_DIAG_LOGFILE | QV_DIAG_STACKTRACE, "second", nullptr, "f", 1);
    EXPECT_NE(test::log_content().find("\n0x"), std::string::npos);
    EXPECT_EQ(test::log_content().find("Unable"), std::string::npos);
}

TEST_F(Assertion, EndsItsStackLinesWhereTheWalkFails)
{
    const auto report = []
    {
        test::start_log();
        DiagAssertA(QV_DIAG_LOGFILE | QV_DIAG_STACKTRACE, "x", nullptr, "f", 1);
        return test::log_content();
    };
    const auto lines = [](const std::string& text)
    {
        size_t count = 0;
        for (size_t at = 0; (at = text.find("\n0x", at)) != std::string::npos; ++at)
            ++count;
        return count;
    };
    const size_t all = lines(report());
    ASSERT_GT(all, 5u);
    PlinthTestFail("StackWalk64", 7, 0, ERROR_INVALID_ADDRESS);
    const std::string cut = report();
    EXPECT_GT(lines(cut), 0u);
    EXPECT_LT(lines(cut), 6u) << "six frames, and the reporter's are among them";
}

} // namespace
