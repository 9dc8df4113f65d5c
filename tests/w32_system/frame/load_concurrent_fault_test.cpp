// Loading and unloading: in a process of its own for each test, as what is seen is the log that the
// process leaves.
#include <atomic>
#include <regex>
#include <thread>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>
#include <plinth_w32_system.h>

#include "support/processes.h"

namespace
{

// The log of the process that was the number-th to load the library; this one is number 0.
std::string log_of(unsigned number)
{
    const time_t now = time(nullptr);
    char name[64];
    strftime(name, sizeof name, "/qvapp_%Y-%m-%d_(", localtime(&now));
    char rest[16];
    snprintf(rest, sizeof rest, "%04u).log", number);
    return test::read_file(test::root() + "/ProgramData/Quorvane/Platform/Logfiles" + name + rest);
}

std::string first_log()
{
    return log_of(1);
}

// What each load writes, as a regular expression.
const std::string stamp = "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\*vtq\\* ";
const std::string load_lines =
    stamp + "Log session started\\.\r\n" + stamp + "RDTSC instruction NOT present\\.\r\n";

// Runs the load probe; its exit code, and what it wrote to both outputs.
int probe(const std::string& arguments, std::string& output)
{
    // The log of a library that is gone stays open, by rule: no leak of its own.
    const std::string command = "ASAN_OPTIONS=\"$ASAN_OPTIONS:detect_leaks=0\" " PLINTH_LOAD_PROBE
                                " " PLINTH_LIBRARY " " +
                                arguments + " 2>&1";
    FILE* const out = popen(command.c_str(), "r");
    char bytes[4096];
    output.assign(bytes, fread(bytes, 1, sizeof bytes, out));
    const int status = pclose(out);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
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
    EXPECT_TRUE(std::regex_match(first_log(), std::regex(load_lines + "from main\r\n" + stamp +
                                                         "from a static destructor\r\n")))
        << first_log();
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
    const std::string before = first_log();
    void* const again = dlopen("libplinth_w32_system.so.0", RTLD_NOW);
    ASSERT_NE(again, nullptr) << dlerror();
    EXPECT_EQ(rdtsc_initialize(), 0);
    dlclose(again);
    EXPECT_EQ(first_log(), before);
    EXPECT_EQ(QV_GetTraceOptions(), 0x12u);
}

TEST(Load, ClosingUnloadsAndEachLoadRunsWhole)
{
    std::string output;
    EXPECT_EQ(probe("3", output), 0);
    EXPECT_EQ(output, "log 0\nlog 0\nlog 0\n");
    for (const unsigned number : {1u, 2u, 3u})
        EXPECT_TRUE(std::regex_match(log_of(number), std::regex(load_lines + "used\r\n")))
            << log_of(number);
}

TEST(Load, WithoutTheModuleLockItIsRefusedAsTheLoaderRefuses)
{
    std::string output;
    EXPECT_EQ(probe("1 1", output), 127);
    EXPECT_EQ(output, "plinth_w32_system: the module lock could not be created; the library can't "
                      "be loaded\n");
    // The steps of the load have all run before.
    EXPECT_TRUE(std::regex_match(log_of(1), std::regex(load_lines))) << log_of(1);
}

TEST(Load, WithoutTheLogsLockItGoesOn)
{
    std::string output;
    EXPECT_EQ(probe("1 2", output), 0);
    EXPECT_EQ(output, "log 0\n");
    EXPECT_TRUE(std::regex_match(log_of(1), std::regex(load_lines + "used\r\n"))) << log_of(1);
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
