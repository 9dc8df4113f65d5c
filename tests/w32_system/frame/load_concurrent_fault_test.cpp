// Loading and unloading, each in a process of its own: the tests check the log that the process
// leaves.
#include "support/test.h"

#include <plinth_w32_pthreadVC.h>

#include "support/log_files.h"
#include "support/processes.h"

namespace
{

// A static object of the application that traces when it is destroyed, before the library is.
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
    const std::string log = test::read_log(test::log_name(1)), stamp = test::stamp_pattern;
    EXPECT_TRUE(
        std::regex_match(log, std::regex(stamp + "Log session started\\.\r\n" + stamp +
                                         "RDTSC instruction NOT present\\.\r\nfrom main\r\n" +
                                         stamp + "from a static destructor\r\n")))
        << log;
}

int trace_while_ending(int, char**)
{
    static std::atomic<int> at_work{0};
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
                        ++at_work;
                    at_work.notify_all();
                }
            })
            .detach();
    for (int now; (now = at_work) < 4;)
        at_work.wait(now);
    std::exit(0);
}
const test::ChildMain trace_while_ending_main("trace-while-ending", trace_while_ending);

TEST(Load, ThreadsThatTraceWhileTheProcessEndsDoNoHarm)
{
    // Without the leak check: at exit it would stop these threads one by one at any point, and
    // leaks are not what this test is about.
    const char* const options = getenv("ASAN_OPTIONS");
    setenv("ASAN_OPTIONS", (std::string(options ? options : "") + ":detect_leaks=0").c_str(), 1);
    for (int i = 0; i < 10; ++i)
        ASSERT_EQ(test::Process::child("trace-while-ending").wait(), 0);
}

int end_with_the_lock_held(int, char**)
{
    QV_SetTraceOptions(QV_DIAG_DEBUGGER); // else static objects would wait for the lock
    std::thread([] { pthread_mutexCS_lock(&CQvLogFile::m_classLock); }).join();
    return 0;
}
const test::ChildMain end_with_the_lock_held_main("end-with-the-lock-held", end_with_the_lock_held);

TEST(Load, ALockThatAnEndedThreadHoldsDoesNotKeepTheProcessFromEnding)
{
    EXPECT_EQ(test::Process::child("end-with-the-lock-held").wait(), 0);
}

} // namespace
