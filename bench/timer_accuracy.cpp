// The accuracy of timers in each mode, against timerfd in the same run.
//
// A series is a number of calls of one timer. Its period error is the difference between the time
// from call to call and the interval. Its drift is the difference between the last call and its due
// time, counted from the first call; dropped ticks count as drift. Each series runs once, alone:
// the modes that spin need a processor each.
#include "timer_accuracy.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include <sys/timerfd.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <plinth_w32_system.h>

namespace
{

struct Interval
{
    double milliseconds;
    size_t calls;
};
constexpr Interval intervals[] = {{1.0, 401}, {2.7, 151}, {10.0, 51}, {100.0, 8}};

constexpr size_t most_posted = 51; // calls: they come every 10 ms at best

constexpr int by_timerfd = 0; // besides the library's modes

struct Carrier
{
    const char* name;
    int mode;
};
constexpr Carrier carriers[] = {{"timerfd", by_timerfd},
                                {"SLEEP", QV_PRECISION_SLEEP},
                                {"SLEEP_SPIN", QV_PRECISION_SLEEP_SPIN},
                                {"SPIN", QV_PRECISION_SPIN},
                                {"MM_20", QV_PRECISION_MM_20},
                                {"MM_10", QV_PRECISION_MM_10},
                                {"MM_1", QV_PRECISION_MM_1},
                                {"MM_1_ALIGNED", QV_PRECISION_MM_1_ALIGNED},
                                {"POSTED", QV_PRECISION_POSTED}};

struct Result
{
    bool measured = false;
    double median = 0; // us, of the period error
    double p99 = 0;
    double drift = 0; // us over the series
    double seconds = 0;
};
Result g_results[std::size(carriers)][std::size(intervals)];

// The moments of the calls, in ms on the library's clock.
struct Series
{
    std::vector<double> moments;
    size_t wanted;

    explicit Series(size_t calls) : wanted(calls) { moments.reserve(calls); }
    bool complete() const { return moments.size() == wanted; }
    static int call(void* self)
    {
        static_cast<Series*>(self)->moments.push_back(QV_GetTimeCounter());
        return 1;
    }
};

bool run_timerfd(const Interval& interval, Series& series)
{
    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    const long nanoseconds = std::lround(interval.milliseconds * 1e6);
    const timespec period{0, nanoseconds};
    const itimerspec setting{period, period};
    bool good = timer >= 0 && timerfd_settime(timer, 0, &setting, nullptr) == 0;
    while (good && !series.complete())
    {
        uint64_t ticks = 0;
        good = read(timer, &ticks, sizeof ticks) == sizeof ticks;
        Series::call(&series);
    }
    close(timer);
    return good;
}

bool run_timer(int mode, const Interval& interval, Series& series)
{
    const auto id = static_cast<unsigned int>(QV_SetThreadedTimer(
        Series::call, &series, interval.milliseconds, static_cast<int>(series.wanted), mode, 1));
    if (id == 0)
        return false;
    if (mode != QV_PRECISION_POSTED)
        return QV_WaitForTimer(id) == QV_OK;
    MSG message;
    while (!series.complete() && GetMessageW(&message, nullptr, 0, 0) > 0)
        DispatchMessageW(&message);
    return true;
}

Result evaluate(const Series& series, double interval)
{
    std::vector<double> errors;
    for (size_t i = 1; i < series.moments.size(); ++i)
        errors.push_back(std::fabs(series.moments[i] - series.moments[i - 1] - interval) * 1000);
    std::sort(errors.begin(), errors.end());
    const double passed = series.moments.back() - series.moments.front();
    Result result;
    result.measured = true;
    result.median = errors[errors.size() / 2];
    result.p99 = errors[errors.size() * 99 / 100];
    result.drift = (passed - interval * static_cast<double>(errors.size())) * 1000;
    result.seconds = passed / 1000;
    return result;
}

void measure(benchmark::State& state, size_t carrier, size_t which)
{
    const Interval& interval = intervals[which];
    for (auto _ : state)
    {
        const int mode = carriers[carrier].mode;
        Series series(mode == QV_PRECISION_POSTED ? std::min(interval.calls, most_posted)
                                                  : interval.calls);
        if (!(mode == by_timerfd ? run_timerfd(interval, series)
                                 : run_timer(mode, interval, series)))
        {
            state.SkipWithError("no timer");
            return;
        }
        g_results[carrier][which] = evaluate(series, interval.milliseconds);
    }
}

bool register_all()
{
    for (size_t carrier = 0; carrier < std::size(carriers); ++carrier)
        for (size_t which = 0; which < std::size(intervals); ++which)
        {
            char name[64];
            std::snprintf(name, sizeof name, "timer/%s/%gms", carriers[carrier].name,
                          intervals[which].milliseconds);
            benchmark::RegisterBenchmark(name, measure, carrier, which)
                ->Iterations(1)
                ->Repetitions(1);
        }
    return true;
}
[[maybe_unused]] const bool g_registered = register_all();

} // namespace

void bench::print_timer_accuracy()
{
    bool any = false;
    for (const auto& row : g_results)
        any |= std::any_of(std::begin(row), std::end(row),
                           [](const Result& result) { return result.measured; });
    if (!any)
        return;
    std::printf(
        "\nTimers: error of the period, us, median / 99 %%; drift, us for each second\n%-14s",
        "mode");
    for (const Interval& interval : intervals)
        std::printf(" %13g ms %10s", interval.milliseconds, "drift");
    std::printf("\n");
    for (size_t carrier = 0; carrier < std::size(carriers); ++carrier)
    {
        std::printf("%-14s", carriers[carrier].name);
        for (const Result& result : g_results[carrier])
            if (result.measured)
                std::printf(" %7.1f/%8.1f %10.1f", result.median, result.p99,
                            result.drift / result.seconds);
            else
                std::printf(" %16s %10s", "", "");
        std::printf("\n");
    }
    std::printf("MM_... run at whole milliseconds (2.7 ms as 2 ms), POSTED at 10 ms or more: there "
                "the error\nis that of the rule. Thread modes and timerfd as the scheduler lets "
                "them.\n");
}
