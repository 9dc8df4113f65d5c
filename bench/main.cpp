// Runs the benchmarks and prints the budget table.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "rows.h"
#include "timer_accuracy.h"

namespace
{

// Collects the runs of each benchmark; the table shows the medians.
class MedianReporter : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
        {
            if (run.run_type != Run::RT_Iteration)
                continue;
            if (run.error_occurred)
            {
                std::fprintf(stderr, "%s: %s\n", run.run_name.function_name.c_str(),
                             run.error_message.c_str());
                continue;
            }
            const auto counter = run.counters.find("ns");
            const double value =
                counter != run.counters.end() ? counter->second.value : run.GetAdjustedRealTime();
            m_values[run.run_name.function_name].push_back(value);
        }
    }

    // Nanoseconds, negative if the benchmark did not run.
    double median(const char* name) const
    {
        const auto found = m_values.find(name);
        if (found == m_values.end())
            return -1;
        std::vector<double> values = found->second;
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    }

private:
    std::map<std::string, std::vector<double>> m_values;
};

// Rows without a budget are shown without a verdict.
const char* verdict(double value, double budget)
{
    if (budget == 0)
        return "";
    return value <= budget ? "met" : "MISSED";
}

void print_table(const MedianReporter& results)
{
    std::printf("%-42s %10s %10s %7s %7s  %-6s %s\n", "path", "ns", "peer ns", "ratio", "budget",
                "", "against");
    for (const bench::Row& row : bench::rows)
    {
        const double ours = results.median(row.ours);
        if (!row.peer)
        {
            if (ours >= 0)
                std::printf("%-42s %10.1f %10s %7s %7.0f  %-6s %s\n", row.path, ours, "", "",
                            row.budget, verdict(ours, row.budget), row.against);
            continue;
        }
        const double peer = results.median(row.peer);
        if (ours < 0 || peer < 0)
            continue;
        const double ratio = ours / peer;
        std::printf("%-42s %10.1f %10.1f %7.2f %7.2f  %-6s %s\n", row.path, ours, peer, ratio,
                    row.budget, verdict(ratio, row.budget), row.against);
    }
}

void print_rates(const MedianReporter& results)
{
    bool any = false;
    for (const bench::Rate& rate : bench::rates)
    {
        const double each = results.median(rate.benchmark);
        if (each <= 0)
            continue;
        std::printf("%s%-42s %10.0f per second\n", any ? "" : "\n", rate.what, 1e9 / each);
        any = true;
    }
}

bool has_filter(int argc, char** argv)
{
    return std::any_of(argv, argv + argc,
                       [](const char* word)
                       { return std::strncmp(word, "--benchmark_filter", 18) == 0; });
}

// Runs one subject after the other, the benchmarks of each subject in turns: what a subject leaves,
// such as a thread or a killed listener, doesn't affect the turns of the others.
void run_each_subject(MedianReporter& reporter)
{
    std::vector<std::string> done;
    for (const bench::Row& row : bench::rows)
    {
        const std::string subject(row.ours, std::strcspn(row.ours, "/"));
        if (std::find(done.begin(), done.end(), subject) != done.end())
            continue;
        done.push_back(subject);
        benchmark::RunSpecifiedBenchmarks(&reporter, "^" + subject + "/");
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc >= 3 && std::strcmp(argv[1], "--child") == 0)
    {
        if (std::strcmp(argv[2], "capture") == 0 && argc == 4)
            return bench::capture_child(argv[3]);
        if (std::strcmp(argv[2], "viewer") == 0 && argc == 5)
            return bench::viewer_child(argv[3], std::strcmp(argv[4], "counts") == 0);
        if (std::strcmp(argv[2], "writer") == 0 && argc == 5)
            return bench::writer_child(argv[3], static_cast<uint32_t>(std::atoi(argv[4])));
        if (std::strcmp(argv[2], "pingpong") == 0 && argc == 4)
            return bench::pingpong_child(argv[3]);
        return 2;
    }
    if (!std::getenv("PLINTH_ROOT"))
    {
        std::fprintf(stderr, "plinth_bench: set PLINTH_ROOT to an empty folder of the run "
                             "(scripts/bench does)\n");
        return 2;
    }
    // In turns and several times, unless the caller decides otherwise.
    std::vector<char*> arguments(argv, argv + argc);
    char repetitions[] = "--benchmark_repetitions=15";
    char interleaving[] = "--benchmark_enable_random_interleaving=true";
    char min_time[] = "--benchmark_min_time=0.05";
    arguments.insert(arguments.begin() + 1, {repetitions, interleaving, min_time});
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return 2;
    MedianReporter reporter;
    if (has_filter(argc, argv))
        benchmark::RunSpecifiedBenchmarks(&reporter);
    else
        run_each_subject(reporter);
    print_table(reporter);
    print_rates(reporter);
    bench::print_timer_accuracy();
    return 0;
}
