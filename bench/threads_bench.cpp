// Threads that trace at once, against as many with the bare system call and with another logger.
//
// The measured time is that from the start of all threads to the end of the last one, divided by
// the number of all records: a thread that seldom gets the lock must not look fast.
#include <atomic>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <plinth_w32_system.h>

#include "load/measure.h"
#include "rows.h"

namespace
{

constexpr double step = 0.25;   // between the numbers with two decimals
constexpr int records = 12'000; // of all threads together

// Bytes of a record in the log: stamp, text, CR LF.
constexpr size_t record_length = 101;

template <class Each> void on_all_threads(benchmark::State& state, Each each)
{
    const auto threads = static_cast<size_t>(state.range(0));
    const int share = records / static_cast<int>(threads);
    load::Series each_run; // ns a record
    for (auto _ : state)
    {
        const double took = load::on_threads(threads,
                                             [&](size_t)
                                             {
                                                 for (int i = 0; i < share; ++i)
                                                     each(i * step, i & 1023);
                                             });
        each_run.add(took / records);
        state.SetIterationTime(took / 1e9);
    }
    state.counters["ns"] = each_run.median();
}

void trace(benchmark::State& state)
{
    const unsigned former = QV_SetTraceOptions(QV_DIAG_LOGFILE | QV_DIAG_DEBUGGER);
    on_all_threads(state,
                   [](double value, int number)
                   {
                       DiagOutputExW_hlp("bench\\threads_bench", __LINE__);
                       DiagOutputExW(L"|thrid| %.2f %.2f opened document %d of %d in the viewer",
                                     value, value, number, 1000);
                   });
    QV_SetTraceOptions(former);
}

void bare_write(benchmark::State& state)
{
    const std::string bytes(record_length, 'm');
    const int file = open((bench::folder() + "/threads-peer").c_str(),
                          O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    std::atomic<bool> failed{false};
    on_all_threads(state,
                   [&](double, int)
                   {
                       if (write(file, bytes.data(), bytes.size()) !=
                           static_cast<ssize_t>(record_length))
                           failed = true;
                   });
    close(file);
    if (failed)
        state.SkipWithError("write failed");
}

void other_logger(benchmark::State& state)
{
    spdlog::logger logger("peer", std::make_shared<spdlog::sinks::basic_file_sink_mt>(
                                      bench::folder() + "/threads-spdlog"));
    logger.set_pattern("%Y-%m-%d %H:%M:%S.%e *vtq* %t %v");
    logger.flush_on(spdlog::level::trace);
    on_all_threads(state,
                   [&logger](double value, int number)
                   {
                       logger.info("{:.2f} {:.2f} opened document {} of {} in the viewer", value,
                                   value, number, 1000);
                   });
}

BENCHMARK(trace)->Name("threads/1 trace")->Arg(1)->UseManualTime();
BENCHMARK(bare_write)->Name("threads/1 write")->Arg(1)->UseManualTime();
BENCHMARK(other_logger)->Name("threads/1 spdlog")->Arg(1)->UseManualTime();
BENCHMARK(trace)->Name("threads/2 trace")->Arg(2)->UseManualTime();
BENCHMARK(bare_write)->Name("threads/2 write")->Arg(2)->UseManualTime();
BENCHMARK(other_logger)->Name("threads/2 spdlog")->Arg(2)->UseManualTime();
BENCHMARK(trace)->Name("threads/4 trace")->Arg(4)->UseManualTime();
BENCHMARK(bare_write)->Name("threads/4 write")->Arg(4)->UseManualTime();
BENCHMARK(other_logger)->Name("threads/4 spdlog")->Arg(4)->UseManualTime();

} // namespace
