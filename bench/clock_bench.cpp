// The clock and the spin sleep.
#include <algorithm>
#include <ctime>
#include <vector>

#include <benchmark/benchmark.h>

#include <plinth_w32_system.h>

namespace
{

void qv_clock(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(QV_GetTimeCounter());
}
BENCHMARK(qv_clock)->Name("clock/QV_GetTimeCounter");

void bare_clock(benchmark::State& state)
{
    timespec now;
    for (auto _ : state)
    {
        clock_gettime(CLOCK_MONOTONIC, &now);
        benchmark::DoNotOptimize(now);
    }
}
BENCHMARK(bare_clock)->Name("clock/clock_gettime");

constexpr int spins = 2000;
constexpr double spin_ms = 0.05;

void report_p99(benchmark::State& state, std::vector<double>& over)
{
    std::sort(over.begin(), over.end());
    state.counters["ns"] = over[over.size() * 99 / 100];
}

// By how much a sleep in the spin mode is too long, at the 99th percentile, in nanoseconds.
void spin_overshoot(benchmark::State& state)
{
    std::vector<double> over;
    for (auto _ : state)
    {
        const double before = QV_GetTimeCounter();
        QV_Sleep(spin_ms, QV_PRECISION_SPIN);
        over.push_back((QV_GetTimeCounter() - before - spin_ms) * 1e6);
    }
    report_p99(state, over);
}
BENCHMARK(spin_overshoot)->Name("clock/QV_Sleep/p99")->Iterations(spins);

// The delay that the machine adds to a loop that only reads the clock.
void bare_overshoot(benchmark::State& state)
{
    const auto now_ns = []
    {
        timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
    };
    std::vector<double> over;
    for (auto _ : state)
    {
        const double end = now_ns() + spin_ms * 1e6;
        double now = 0;
        while ((now = now_ns()) < end)
            ;
        over.push_back(now - end);
    }
    report_p99(state, over);
}
BENCHMARK(bare_overshoot)->Name("clock/spin/p99")->Iterations(spins);

} // namespace
