// Loading and unloading: in a process of its own for each test, as what is seen is the log that the
// process leaves.

#include <dlfcn.h>
#include <pthread.h>

#include "support/test.h"

#include <plinth_w32_system.h>

#include "support/commands.h"
#include "support/processes.h"

namespace
{

// The log of the process that was the number-th to load the library; this one is number 0.
std::string log_of(unsigned number)
{
    const time_t now = time(nullptr);
    char date[16];
    strftime(date, sizeof date, "%Y-%m-%d", localtime(&now));
    return test::read_file(test::root() + "/ProgramData/Quorvane/Platform/Logfiles/qvapp_" + date +
                           "_(000" + std::to_string(number) + ").log");
}

const std::string stamp = "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\*vtq\\* ";

// Such a log: what each load writes, and then a pattern.
void expect_log(unsigned number, const std::string& pattern)
{
    EXPECT_TRUE(std::regex_match(log_of(number),
                                 std::regex(stamp + "Log session started\\.\r\n" + stamp +
                                            "RDTSC instruction NOT present\\.\r\n" + pattern)))
        << number << ": " << log_of(number);
}

// Traces from a static object of the application, which goes before the library does.
struct LateTracer
{
    ~LateTracer() { DiagOutputExW(L"from a static destructor"); }
} g_late;

int trace_once(int, char**)
{
    QV_Log(L"from main\r\n");
    return 0;
}
const test::ChildMain trace_once_main("trace-once", trace_once);

TEST(Load, OpensTheLogTracesOnceAndLetsStaticObjectsTrace)
{
    EXPECT_EQ(test::Process::child("trace-once").wait(), 0);
    expect_log(1, "from main\r\n" + stamp + "from a static destructor\r\n");
}

int trace_while_ending(int, char**)
{
    static std::atomic<int> s_at_work{0};
    for (int i = 0; i < 4; ++i)
        std::thread(
            []
            {
                for (bool first = true;; first = false)
                {
                    DiagOutputExW_hlp("file", 1);
                    DiagOutputExW(L"|wndid:%d| |adt00| |srcid|", rand() % 100);
                    QV_Log(L"x\r\n");
                    CQvLogFile::Detail();
                    if (first)
                        ++s_at_work;
                    s_at_work.notify_all();
                }
            })
            .detach();
    for (int now; (now = s_at_work) < 4;)
        s_at_work.wait(now);
    std::exit(0);
}
const test::ChildMain trace_while_ending_main("trace-while-ending", trace_while_ending);

TEST(Load, ThreadsThatTraceWhileTheProcessEndsDoNoHarm)
{
    // The leak check would stop these threads one by one at the exit, wherever they are, and is not
    // what this test is about.
    const char* const options = getenv("ASAN_OPTIONS");
    setenv("ASAN_OPTIONS", (std::string(options ? options : "") + ":detect_leaks=0").c_str(), 1);
    for (int i = 0; i < 10; ++i)
        ASSERT_EQ(test::Process::child("trace-while-ending").wait(), 0);
}

TEST(Load, ASecondOpeningRunsNothingAgain)
{
    void* const again = dlopen("libplinth_w32_system.so.0", RTLD_NOW);
    ASSERT_NE(again, nullptr) << dlerror();
    EXPECT_EQ(rdtsc_initialize(), 0);
    dlclose(again);
    EXPECT_EQ(log_of(1), "");
    EXPECT_EQ(QV_GetTraceOptions(), 0x12u);
}

// By the load probe, whose arguments are how often, and which of the locks can't be created: the
// first is the module's, without which the library can't be loaded; the second is the log's.
TEST(Load, ClosingUnloadsAndEachLoadRunsWhole)
{
    const struct
    {
        const char* arguments;
        unsigned loads;
        int exit_code;
        const char* output;
        const char* logged;
    } rows[] = {{"3", 3, 0, "log 0\nlog 0\nlog 0\n", "used\r\n"},
                {"1 1", 1, 127,
                 "plinth_w32_system: the module lock could not be created; the library can't be "
                 "loaded\n",
                 ""}, // all steps of the load have run before
                {"1 2", 1, 0, "log 0\n", "used\r\n"}};
    unsigned number = 0;
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.arguments);
        // The log of a library that is gone stays open, by rule: no leak of its own.
        const std::string command =
            "ASAN_OPTIONS=\"$ASAN_OPTIONS:detect_leaks=0\" " PLINTH_LOAD_PROBE " " PLINTH_LIBRARY
            " " +
            std::string(row.arguments) + " 2>&1";
        EXPECT_EQ(test::output_of(command, row.exit_code), row.output);
        for (unsigned i = 0; i < row.loads; ++i)
            expect_log(++number, row.logged);
    }
}

int end_with_the_lock_held(int, char**)
{
    QV_SetTraceOptions(QV_DIAG_DEBUGGER); // what static objects trace at the end would wait for it
    std::thread([] { pthread_mutexCS_lock(&CQvLogFile::m_classLock); }).join();
    return 0;
}
const test::ChildMain end_with_the_lock_held_main("end-with-the-lock-held", end_with_the_lock_held);

TEST(Load, ALockThatAnEndedThreadHoldsDoesNotKeepTheProcessFromEnding)
{
    EXPECT_EQ(test::Process::child("end-with-the-lock-held").wait(), 0);
}

} // namespace
