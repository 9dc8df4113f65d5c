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

// How far a sleep of 50 us in the spin mode overshoots, at the 99th percentile, in nanoseconds.
void spin_overshoot(benchmark::State& state)
{
    constexpr double interval = 0.05; // ms
    std::vector<double> over;
    for (auto _ : state)
    {
        const double before = QV_GetTimeCounter();
        QV_Sleep(interval, QV_PRECISION_SPIN);
        over.push_back((QV_GetTimeCounter() - before - interval) * 1e6);
    }
    std::sort(over.begin(), over.end());
    state.counters["ns"] = over[over.size() * 99 / 100];
}
BENCHMARK(spin_overshoot)->Name("clock/QV_Sleep/p99")->Iterations(2000);

} // namespace
