// Trace records to the log and to no destination, against the bare system call and another logger.
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

// Bytes of the record below in the log: stamp, text, CR LF.
constexpr size_t record_length = 95;

void record(int number)
{
    DiagOutputExW_hlp("bench\\trace_bench", __LINE__);
    DiagOutputExW(L"|thrid| |adt00| |absdt| opened document %d of %d in the viewer", number, 1000);
}

void trace_to(benchmark::State& state, unsigned options)
{
    const unsigned former = QV_SetTraceOptions(options);
    int number = 0;
    for (auto _ : state)
        record(++number & 1023);
    QV_SetTraceOptions(former);
}

void to_log(benchmark::State& state)
{
    trace_to(state, QV_DIAG_LOGFILE | QV_DIAG_DEBUGGER);
}
BENCHMARK(to_log)->Name("trace/log");

void to_nowhere(benchmark::State& state)
{
    trace_to(state, QV_DIAG_MSGBOX);
}
BENCHMARK(to_nowhere)->Name("trace/nowhere");

// One record, traced by the macro or by the two calls that the macro expands to.
template <class Trace> void optional_to_nowhere(benchmark::State& state, Trace trace)
{
    const unsigned former = QV_SetTraceOptions(QV_DIAG_MSGBOX);
    int number = 0;
    for (auto _ : state)
        trace(++number & 1023);
    QV_SetTraceOptions(former);
}

void by_macro(benchmark::State& state)
{
    optional_to_nowhere(state, [](int number)
                        { PLINTH_TRACE(L"|thrid| opened document %d of %d", number, 1000); });
}
BENCHMARK(by_macro)->Name("trace/PLINTH_TRACE");

void by_calls(benchmark::State& state)
{
    optional_to_nowhere(state,
                        [](int number)
                        {
                            DiagOutputExW_hlp(__FILE__, __LINE__);
                            if (CQvLogFile::Detail())
                                DiagOutputExW(L"|thrid| opened document %d of %d", number, 1000);
                        });
}
BENCHMARK(by_calls)->Name("trace/calls");

class PeerFile
{
public:
    PeerFile()
        : m_file(open((bench::folder() + "/trace-peer").c_str(),
                      O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644))
    {
    }
    PeerFile(const PeerFile&) = delete;
    PeerFile& operator=(const PeerFile&) = delete;
    ~PeerFile() { close(m_file); }
    void write_record(benchmark::State& state)
    {
        if (write(m_file, m_bytes.data(), m_bytes.size()) != static_cast<ssize_t>(record_length))
            state.SkipWithError("write failed");
    }

private:
    const std::string m_bytes = std::string(record_length, 'm');
    const int m_file;
};

void bare_write(benchmark::State& state)
{
    PeerFile file;
    for (auto _ : state)
        file.write_record(state);
}
BENCHMARK(bare_write)->Name("trace/write");

// The cost of a record to the log if everything after its formatting were one system call.
void to_nowhere_and_write(benchmark::State& state)
{
    PeerFile file;
    const unsigned former = QV_SetTraceOptions(QV_DIAG_MSGBOX);
    int number = 0;
    for (auto _ : state)
    {
        record(++number & 1023);
        file.write_record(state);
    }
    QV_SetTraceOptions(former);
}
BENCHMARK(to_nowhere_and_write)->Name("trace/nowhere and write");

void other_logger(benchmark::State& state)
{
    const auto logger = std::make_shared<spdlog::logger>(
        "peer", std::make_shared<spdlog::sinks::basic_file_sink_mt>(bench::folder() + "/spdlog"));
    logger->set_pattern("%Y-%m-%d %H:%M:%S.%e *vtq* %t %v");
    logger->flush_on(spdlog::level::trace);
    int number = 0;
    double elapsed = 0.25;
    for (auto _ : state)
    {
        logger->info("{:.2f} {:.2f} opened document {} of {} in the viewer", elapsed, elapsed,
                     ++number & 1023, 1000);
        elapsed += 0.25;
    }
}
BENCHMARK(other_logger)->Name("trace/spdlog");

} // namespace
