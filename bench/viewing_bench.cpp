// Texts of another process to programs for users: to plinth-trace watch, which shows them on
// /dev/null or on a terminal, and to the window on a display in memory; for comparison to a capture
// that counts and drops them.
//
// Each turn ends when the program has shown the last text, and counts only if it received all.
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include <benchmark/benchmark.h>

#include "processes.h"
#include "viewers.h"

using bench::Child;
using bench::SharedPage;
using bench::SharedWords;

namespace
{

constexpr uint32_t rounds = 200;
constexpr uint32_t texts = rounds * bench::texts_of_a_round;

// Lets a process write the texts, and waits until they are written.
void write_all(SharedWords* words)
{
    for (uint32_t round = 1; round <= rounds; ++round)
    {
        bench::set(words->round, round);
        bench::wait_for(words->ended, round);
    }
}

constexpr auto no_check = [](auto&) { return true; };

// check: whether texts were lost, where that isn't known before the time is taken.
template <class Reader, class HadAll, class Check = decltype(no_check)>
void measure(benchmark::State& state, const SharedPage& page, Reader&& start, HadAll&& had_all,
             const Check& check = no_check)
{
    SharedWords* const words = page.words();
    const Child writer({"writer", page.path(), "1"});
    const auto reader = start();
    if (!words || !writer.ready() || !reader->ready())
    {
        state.SkipWithError("the processes did not start");
        return;
    }
    const uint32_t before = words->received;
    for (auto _ : state)
    {
        const auto begin = std::chrono::steady_clock::now();
        write_all(words);
        const bool had_them = had_all(*reader, before + texts);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
        if (!had_them || !check(*reader))
        {
            state.SkipWithError("texts were lost");
            return;
        }
        state.SetIterationTime(took.count());
        state.counters["ns"] = took.count() * 1e9 / texts;
    }
}

void to_counter(benchmark::State& state, bool is_capture)
{
    const SharedPage page("viewing");
    measure(
        state, page,
        [&]
        {
            return std::make_unique<Child>(
                is_capture ? std::vector<std::string>{"capture", page.path()}
                           : std::vector<std::string>{"viewer", page.path(), "counts"});
        },
        [&](const Child&, uint32_t expected)
        {
            for (int i = 0; page.words()->received != expected && i < 50'000; ++i)
                usleep(100);
            return page.words()->received == expected;
        });
}
BENCHMARK_CAPTURE(to_counter, capture, true)
    ->Name("viewing/capture")
    ->UseManualTime()
    ->Iterations(1);
BENCHMARK_CAPTURE(to_counter, listener, false)
    ->Name("viewing/listener")
    ->UseManualTime()
    ->Iterations(1);

void to_viewer(benchmark::State& state, const std::vector<std::string>& words)
{
    const SharedPage page("viewing");
    measure(
        state, page, [&] { return std::make_unique<bench::CountingViewer>(words); },
        [](bench::CountingViewer& viewer, uint32_t) { return viewer.had_all(); });
}

void to_watch(benchmark::State& state)
{
    to_viewer(state, {BENCH_PLINTH_TRACE, "watch", "--keep", "256M", "--timeout", "60", "--count",
                      std::to_string(texts)});
}
BENCHMARK(to_watch)->Name("viewing/watch")->UseManualTime()->Iterations(1);

void to_screen(benchmark::State& state)
{
    const SharedPage page("viewing");
    measure(
        state, page,
        [&]
        {
            return std::make_unique<bench::ScreenViewer>(
                std::vector<std::string>{BENCH_PLINTH_TRACE, "watch"});
        },
        [](bench::ScreenViewer& screen, uint32_t) { return screen.had_last(); },
        [](bench::ScreenViewer& screen) { return screen.had_all(texts + 1); });
}
BENCHMARK(to_screen)->Name("viewing/screen")->UseManualTime()->Iterations(1);

#ifdef BENCH_WINDOW
void to_window(benchmark::State& state)
{
    static const bench::Display display;
    if (!display.ready())
        state.SkipWithError("there is no Xvfb");
    else
        to_viewer(state, {BENCH_WINDOW, std::to_string(texts)});
}
BENCHMARK(to_window)->Name("viewing/window")->UseManualTime()->Iterations(1);
#endif

} // namespace
