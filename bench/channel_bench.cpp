// Trace records to a capture in another process, from this process and from one and several others
// at once, against a futex ping-pong between two processes; and to viewers that share the channel.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <time.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <plinth_w32_system.h>

#include "listener.h"
#include "processes.h"
#include "rows.h"

using bench::Child;
using bench::SharedPage;
using bench::SharedWords;

namespace
{

void trace_one(int number)
{
    DiagOutputExW_hlp("bench\\channel_bench", __LINE__);
    DiagOutputExW(L"|thrid| |adt00| |absdt| opened document %d of %d", number, 1000);
}

void to_capture(benchmark::State& state)
{
    const SharedPage page("capture");
    const Child listener({"capture", page.path()});
    if (!listener.ready())
    {
        state.SkipWithError("the listener did not start");
        return;
    }
    const unsigned former = QV_SetTraceOptions(QV_DIAG_DEBUGGER);
    int number = 0;
    for (auto _ : state)
        trace_one(++number);
    QV_SetTraceOptions(former);
}
BENCHMARK(to_capture)->Name("channel/record");

// The programs that listen: one capture, or this many viewers, of which the first has the channel.
std::vector<std::unique_ptr<Child>> listeners(const SharedPage& page, int64_t viewers)
{
    std::vector<std::unique_ptr<Child>> children;
    if (viewers == 0)
        children.push_back(
            std::make_unique<Child>(std::vector<std::string>{"capture", page.path()}));
    for (int64_t i = 0; i < viewers; ++i)
        children.push_back(std::make_unique<Child>(
            std::vector<std::string>{"viewer", page.path(), i == 0 ? "counts" : "looks"}));
    return children;
}

bool all_ready(const std::vector<std::unique_ptr<Child>>& children)
{
    return std::all_of(children.begin(), children.end(),
                       [](const std::unique_ptr<Child>& child) { return child->ready(); });
}

// What is measured of each text.
enum class Measure
{
    until_all_are_written, // time, for all writers together
    // Processor time that the writers have used in the round that took least of it: one in which
    // they had not to sleep over busy processors. What they do for a viewer they do in each round.
    of_writers,
};

// So many processes, all writing at once.
void from_writers(benchmark::State& state, Measure measure)
{
    const auto count = static_cast<uint32_t>(state.range(0));
    const SharedPage page("writers");
    SharedWords* const words = page.words();
    // Writers start first, so that what the library writes while it is loaded isn't counted.
    std::vector<std::unique_ptr<Child>> writers;
    for (uint32_t i = 0; words && i < count; ++i)
        writers.push_back(std::make_unique<Child>(
            std::vector<std::string>{"writer", page.path(), std::to_string(count)}));
    const std::vector<std::unique_ptr<Child>> readers = listeners(page, state.range(1));
    if (!words || !all_ready(writers) || !all_ready(readers))
    {
        state.SkipWithError("the processes did not start");
        return;
    }
    uint32_t round = 0;
    uint32_t expected = words->received;
    double seconds = 0;
    uint64_t least = UINT64_MAX;
    for (auto _ : state)
    {
        const uint64_t used = words->used;
        const auto start = std::chrono::steady_clock::now();
        bench::set(words->round, ++round);
        bench::wait_for(words->ended, round * count);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        seconds += took.count();
        least = std::min(least, words->used - used);
        state.SetIterationTime(took.count());
        // The callback runs after the channel was freed, and must have received every text.
        expected += count * bench::texts_of_a_round;
        for (int i = 0; words->received != expected && i < 5'000; ++i)
            usleep(1'000);
        if (words->received != expected)
        {
            state.SkipWithError("texts were lost");
            return;
        }
    }
    const double all =
        measure == Measure::of_writers ? static_cast<double>(least) * round : seconds * 1e9;
    state.counters["ns"] = all / (double{bench::texts_of_a_round} * round * count);
}
void writers_and_viewers(const char* name, int64_t writers, int64_t viewers,
                         Measure measure = Measure::until_all_are_written)
{
    benchmark::RegisterBenchmark(name, from_writers, measure)
        ->Args({writers, viewers})
        ->UseManualTime()
        ->Iterations(measure == Measure::of_writers ? 5 : 1);
}
[[maybe_unused]] const bool g_registered = []
{
    writers_and_viewers("channel/1 writer", 1, 0);
    writers_and_viewers("channel/4 writers", 4, 0);
    writers_and_viewers("channel/1 viewer", 1, 1);
    writers_and_viewers("channel/2 viewers", 1, 2);
    writers_and_viewers("channel/8 viewers", 1, 8);
    writers_and_viewers("channel/1 viewer, writer", 1, 1, Measure::of_writers);
    writers_and_viewers("channel/2 viewers, writer", 1, 2, Measure::of_writers);
    writers_and_viewers("channel/8 viewers, writer", 1, 8, Measure::of_writers);
    return true;
}();

void pingpong(benchmark::State& state)
{
    const SharedPage page("pingpong");
    SharedWords* const words = page.words();
    const Child echo({"pingpong", page.path()});
    if (!words || !echo.ready())
    {
        state.SkipWithError("the echo did not start");
        return;
    }
    uint32_t number = 0;
    for (auto _ : state)
    {
        ++number;
        bench::set(words->ping, number);
        bench::wait_for(words->pong, number);
    }
}
BENCHMARK(pingpong)->Name("channel/pingpong");

SharedWords* g_words = nullptr;

void count_text(const wchar_t*)
{
    ++g_words->received;
}

// Of this process, in nanoseconds.
uint64_t processor_time()
{
    constexpr uint64_t second = 1'000'000'000;
    timespec time = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<uint64_t>(time.tv_sec) * second + static_cast<uint64_t>(time.tv_nsec);
}

} // namespace

int bench::capture_child(const char* shared)
{
    g_words = map_words(shared);
    if (!g_words)
        return 1;
    const CQvDebugOutputCapture capture(count_text);
    // The listener is ready once it has received a text of this very process.
    while (g_words->received == 0)
    {
        OutputDebugStringA("ready?");
        for (int i = 0; g_words->received == 0 && i < 5'000; ++i)
            Sleep(1);
    }
    say_ready();
    for (;;)
        pause();
}

int bench::viewer_child(const char* shared, bool counts)
{
    SharedWords* const words = map_words(shared);
    if (!words)
        return 1;
    trace::Listener listener;
    say_ready();
    trace::Record record;
    for (;;) // counts only these texts, not those that the library of a later viewer writes while
             // it is loaded
        if (listener.next(record, 1'000) && counts &&
            record.text.find("opened document") != std::string::npos)
            ++words->received;
}

int bench::writer_child(const char* shared, uint32_t writers)
{
    SharedWords* const words = map_words(shared);
    if (!words)
        return 1;
    QV_SetTraceOptions(QV_DIAG_DEBUGGER);
    say_ready();
    for (uint32_t round = 1;; ++round)
    {
        wait_for(words->round, round);
        const uint64_t before = processor_time();
        for (uint32_t i = 0; i < bench::texts_of_a_round; ++i)
            trace_one(static_cast<int>(i));
        words->used += processor_time() - before;
        if (words->ended.fetch_add(1) + 1 == round * writers)
            wake(words->ended);
    }
}

int bench::pingpong_child(const char* shared)
{
    SharedWords* const words = map_words(shared);
    if (!words)
        return 1;
    say_ready();
    for (uint32_t number = 1;; ++number)
    {
        wait_for(words->ping, number);
        set(words->pong, number);
    }
}
