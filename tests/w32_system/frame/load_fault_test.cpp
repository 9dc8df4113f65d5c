// Loading and unloading: in a process of its own for each test, as what is seen is the log that the
// process leaves.
#include <atomic>
#include <regex>
#include <thread>

#include <dlfcn.h>
#include <pthread.h>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>
#include <plinth_w32_system.h>

#include "support/processes.h"

namespace
{

std::string first_log()
{
    const time_t now = time(nullptr);
    char name[64];
    strftime(name, sizeof name, "/qvapp_%Y-%m-%d_(0001).log", localtime(&now));
    return test::read_file(test::root() + "/ProgramData/Quorvane/Platform/Logfiles" + name);
}

int trace_once(int, char**)
{
    QV_Log(L"from main\r\n");
    return 0;
}
const test::ChildMain trace_once_main("trace-once", trace_once);

TEST(Load, OpensTheLogTracesOnceAndLetsStaticObjectsTrace)
{
    EXPECT_EQ(test::Process::child("trace-once").wait(), 0);
    const std::string stamp = "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\*vtq\\* ";
    EXPECT_TRUE(std::regex_match(first_log(),
                                 std::regex(stamp + "Log session started\\.\r\n" + stamp +
                                            "RDTSC instruction NOT present\\.\r\nfrom main\r\n" +
                                            stamp + "from a static destructor\r\n")))
        << first_log();
}

int trace_while_ending(int, char**)
{
    for (int i = 0; i < 4; ++i)
        std::thread(
            []
            {
                for (;;)
                {
                    DiagOutputExW_hlp("file", 1);
                    DiagOutputExW(L"|wndid:%d| |adt00| |srcid|", rand() % 100);
                    QV_Log(L"x\r\n");
                    CQvLogFile::Detail();
                }
            })
            .detach();
    Sleep(20);
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

} // namespace
