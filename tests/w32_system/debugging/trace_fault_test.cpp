// A record allocates nothing after the first one, and the measurement of a block's time, by a tick
// that the test holds.
//
// The counter of allocations replaces the C library's allocator for this program, so it sees the
// libraries' allocations too.
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <regex>

#include <plinth_platform_test.h>

#include "debug_windows.h"
#include "support/log_files.h"

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

thread_local long t_allocations = 0;

#define COUNTED(name, parameters, ...)                                                             \
    extern "C" void* __libc_##name parameters;                                                     \
    extern "C" __attribute__((visibility("default"))) void* name parameters                        \
    {                                                                                              \
        ++t_allocations;                                                                           \
        return __libc_##name(__VA_ARGS__);                                                         \
    }
COUNTED(malloc, (size_t size), size)
COUNTED(calloc, (size_t number, size_t size), number, size)
COUNTED(realloc, (void* memory, size_t size), memory, size)

TEST(TraceAllocations, NoneAfterTheFirstRecordWithAListenerOrWithout)
{
    const auto trace_all = []
    {
        DiagOutputExW_hlp("file", 1);
        DiagOutputExW(L"|wndid:3| %s %d |adt00| |absdt| |wnddt| |thrid| |srcid| |stime|", L"x", 5);
        QV_Log(L"a line of the log\r\n");
        DiagOutputW(L"plain %d", 1);
    };
    const auto allocations = [&]
    {
        const long before = t_allocations;
        std::free(std::malloc(1));
        for (int i = 0; i < 100; ++i)
            trace_all();
        return t_allocations - before;
    };
    static std::atomic<int> s_arrived{0};
    trace_all();
    EXPECT_EQ(allocations(), 1) << "the test's own alone";
    const CQvDebugOutputCapture capture([](const wchar_t*) { ++s_arrived; });
    ASSERT_TRUE(test::comes_true(
        [&]
        {
            trace_all();
            return s_arrived > 0;
        }));
    const int before = s_arrived;
    EXPECT_EQ(allocations(), 1);
    EXPECT_TRUE(test::comes_true([=] { return s_arrived >= before + 200; })) << "two of each round";
}

#endif

namespace
{

using ExecutionTime = test::FreshLog;

TEST_F(ExecutionTime, CopiesAndNamesBeyondTheLimitMakeNoRecord)
{
    PlinthTestSetTick(0xFFFF'FC18); // the tick wraps within the block
    {
        const CQvTraceExecutionTime first(L"100%s", 0);
        CQvTraceExecutionTime copy(first);
        CQvTraceExecutionTime second(L"second", 0);
        PlinthTestSetTick(4000);
        EXPECT_EQ(copy.GetTimeToNowMs(), 5000);
        CQvTraceExecutionTime late(L"late", 0);
        second = late;
        late = *&late;
        EXPECT_EQ(second.GetTimeToNowMs(), 0);
    }
    {
        const CQvTraceExecutionTime none(test::Wide(1024, L'n').c_str(), 0);
        const CQvTraceExecutionTime null(nullptr, 0);
        const CQvTraceExecutionTime longest(test::Wide(1023, L'n').c_str(), 0);
    }
    EXPECT_EQ(std::regex_replace(test::log_content(), std::regex(test::stamp_pattern), ""),
              "late took 0 ms\r\n100%s took 5000 ms\r\n" + std::string(1023, 'n') +
                  " took 0 ms\r\n");
}

TEST_F(ExecutionTime, NamesTheLineOfItsSourceThatMakesTheRecord)
{
    {
        const CQvTraceExecutionTime measured(L"|srcid|", 0);
    }
    std::smatch place;
    const std::string record = test::log_content();
    ASSERT_TRUE(std::regex_search(record, place, std::regex(R"(\\(\w+) : (\d+) took)"))) << record;
    std::ifstream source(PLINTH_DEBUGGING_SOURCES "/" + place[1].str() + ".cpp");
    std::string line;
    for (int number = std::stoi(place[2]); number > 0; --number)
        std::getline(source, line);
    EXPECT_NE(line.find("DiagOutputExW_hlp"), std::string::npos) << record << line;
}

} // namespace
