// Threads that trace at once, beside as many with the bare system call and with another logger.
#include <optional>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <plinth_w32_system.h>

#include "rows.h"

namespace
{

constexpr double step = 0.25; // what the numbers with two decimals grow by

// Bytes of a record of trace() as it stands in the log: stamp, text, CR LF.
constexpr size_t record_length = 101;

// Made by the first thread of a run before any of them begins, and destroyed by it after all have
// ended: the loop of the benchmark waits for all threads at both places.
template <class Shared, class Each> void on_all_threads(benchmark::State& state, Each each)
{
    static std::optional<Shared> s_shared;
    if (state.thread_index() == 0)
        s_shared.emplace();
    int number = 0;
    double value = step;
    for (auto _ : state)
    {
        each(*s_shared, value, ++number & 1023);
        value += step;
    }
    if (state.thread_index() == 0)
        s_shared.reset();
}

struct ToTheLog
{
    ToTheLog() : former(QV_SetTraceOptions(QV_DIAG_LOGFILE | QV_DIAG_DEBUGGER)) {}
    ToTheLog(const ToTheLog&) = delete;
    ToTheLog& operator=(const ToTheLog&) = delete;
    ~ToTheLog() { QV_SetTraceOptions(former); }
    const unsigned former;
};

void trace(benchmark::State& state)
{
    on_all_threads<ToTheLog>(state,
                             [](ToTheLog&, double value, int number)
                             {
                                 DiagOutputExW_hlp("bench\\threads_bench", __LINE__);
                                 DiagOutputExW(
                                     L"|thrid| %.2f %.2f opened document %d of %d in the viewer",
                                     value, value, number, 1000);
                             });
}

struct BareFile
{
    BareFile()
        : file(open((bench::folder() + "/threads-peer").c_str(),
                    O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644))
    {
    }
    BareFile(const BareFile&) = delete;
    BareFile& operator=(const BareFile&) = delete;
    ~BareFile() { close(file); }
    const std::string bytes = std::string(record_length, 'm');
    const int file;
};

void bare_write(benchmark::State& state)
{
    on_all_threads<BareFile>(state,
                             [&state](BareFile& to, double, int)
                             {
                                 if (write(to.file, to.bytes.data(), to.bytes.size()) !=
                                     static_cast<ssize_t>(record_length))
                                     state.SkipWithError("write failed");
                             });
}

struct OtherLogger
{
    OtherLogger()
    {
        logger.set_pattern("%Y-%m-%d %H:%M:%S.%e *vtq* %t %v");
        logger.flush_on(spdlog::level::trace);
    }
    spdlog::logger logger{"peer", std::make_shared<spdlog::sinks::basic_file_sink_mt>(
                                      bench::folder() + "/threads-spdlog")};
};

void other_logger(benchmark::State& state)
{
    on_all_threads<OtherLogger>(state,
                                [](OtherLogger& to, double value, int number)
                                {
                                    to.logger.info(
                                        "{:.2f} {:.2f} opened document {} of {} in the viewer",
                                        value, value, number, 1000);
                                });
}

BENCHMARK(trace)->Name("threads/1 trace")->Threads(1)->UseRealTime();
BENCHMARK(bare_write)->Name("threads/1 write")->Threads(1)->UseRealTime();
BENCHMARK(other_logger)->Name("threads/1 spdlog")->Threads(1)->UseRealTime();
BENCHMARK(trace)->Name("threads/2 trace")->Threads(2)->UseRealTime();
BENCHMARK(bare_write)->Name("threads/2 write")->Threads(2)->UseRealTime();
BENCHMARK(other_logger)->Name("threads/2 spdlog")->Threads(2)->UseRealTime();
BENCHMARK(trace)->Name("threads/4 trace")->Threads(4)->UseRealTime();
BENCHMARK(bare_write)->Name("threads/4 write")->Threads(4)->UseRealTime();
BENCHMARK(other_logger)->Name("threads/4 spdlog")->Threads(4)->UseRealTime();

} // namespace
