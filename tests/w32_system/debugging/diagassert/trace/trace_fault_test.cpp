// A record allocates nothing after the first one and is formatted outside of the lock; and the
// measured time of a block, by a tick that the test sets.
//
// The counting allocator replaces the C library's in this program, so it also counts the libraries'
// allocations.
#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <thread>
#include <vector>

#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/mman.h>

#include <plinth_platform_test.h>

#include "support/log_files.h"
#include "w32_system/debugging/debugwnd/debug_windows.h"

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
        DiagOutputExW(L"|wndid:3| %s %d %.2f |adt00| |absdt| |wnddt| |thrid| |srcid| |stime|", L"x",
                      5, 1e9);
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
    static std::atomic<int> arrived{0};
    trace_all();
    EXPECT_EQ(allocations(), 1) << "the test's own alone";
    const CQvDebugOutputCapture capture([](const wchar_t*) { ++arrived; });
    ASSERT_TRUE(test::comes_true(
        [&]
        {
            trace_all();
            return arrived > 0;
        }));
    const int before = arrived;
    EXPECT_EQ(allocations(), 1);
    EXPECT_TRUE(test::comes_true([=] { return arrived >= before + 200; })) << "two of each round";
}

// The stack is larger than tested, so that using too much fails the test and doesn't end the
// process.
TEST(TraceStack, ARecordHasRoomInTheSmallestThread)
{
    std::vector<unsigned char> stack(256 * 1024, 0xA5);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, stack.data(), stack.size());
    DiagOutputExW(L"first");
    const auto trace = [](void*) -> void*
    {
        DiagOutputExW(L"|srcid| |thrid| |absdt| %.2f %e %s %hs", 1.5, 1e300, L"wide", "narrow");
        return nullptr;
    };
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, trace, nullptr), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    const auto untouched =
        std::find_if(stack.begin(), stack.end(), [](unsigned char byte) { return byte != 0xA5; });
    EXPECT_LT(stack.end() - untouched, PTHREAD_STACK_MIN);
}

#endif

namespace
{

// An argument that can't be read until another thread has traced.
constexpr size_t page = 4096;
wchar_t* g_argument = nullptr;
sem_t g_reading;
sem_t g_traced;

void wait_at_most(sem_t& semaphore, time_t seconds)
{
    timespec end;
    clock_gettime(CLOCK_REALTIME, &end);
    end.tv_sec += seconds;
    while (sem_timedwait(&semaphore, &end) != 0 && errno == EINTR)
        continue;
}

void let_the_other_trace(int)
{
    sem_post(&g_reading);
    wait_at_most(g_traced, 3);
    mprotect(g_argument, page, PROT_READ | PROT_WRITE);
}

using TraceArguments = test::FreshLog;

TEST_F(TraceArguments, ThatAreSlowToReadHoldUpNoOtherRecord)
{
    DiagOutputExW(L"first");
    void* const memory =
        mmap(nullptr, page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    g_argument = static_cast<wchar_t*>(memory);
    g_argument[0] = L's';
    mprotect(memory, page, PROT_NONE);
    sem_init(&g_reading, 0, 0);
    sem_init(&g_traced, 0, 0);
    struct sigaction handler = {};
    struct sigaction former = {};
    handler.sa_handler = let_the_other_trace;
    sigaction(SIGSEGV, &handler, &former);
    std::thread slow([] { DiagOutputExW(L"%s", g_argument); });
    wait_at_most(g_reading, 20);
    DiagOutputExW(L"other");
    sem_post(&g_traced);
    slow.join();
    sigaction(SIGSEGV, &former, nullptr);
    munmap(memory, page);
    EXPECT_EQ(std::regex_replace(test::log_content(), std::regex(test::stamp_pattern), ""),
              "first\r\nother\r\ns\r\n");
}

using ExecutionTime = test::FreshLog;

TEST_F(ExecutionTime, CopiesAndNamesBeyondTheLimitMakeNoRecord)
{
    PlinthTestSetTick(0xFFFF'FC18); // the tick wraps inside the block
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
    std::ifstream source(PLINTH_DEBUGGING_SOURCES "/logfile/" + place[1].str() + ".cpp");
    std::string line;
    for (int number = std::stoi(place[2]); number > 0; --number)
        std::getline(source, line);
    EXPECT_NE(line.find("DiagOutputExW_hlp"), std::string::npos) << record << line;
}

} // namespace
