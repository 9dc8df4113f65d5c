// Threads that trace at once, against as many threads that append to one file with write(2), and
// against another logger. The threads share the same total number of records.
#include "curve.h"

#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <plinth_w32_system.h>

#include "measure.h"
#include "paths.h"

namespace load
{

namespace
{

// Bytes of the record below in the log: stamp, text, CR LF.
constexpr size_t record_length = 95;

void trace(size_t count)
{
    for (size_t i = 0; i < count; ++i)
    {
        DiagOutputExW_hlp("bench\\load\\threads", __LINE__);
        DiagOutputExW(L"|thrid| |adt00| |absdt| opened document %d of %d in the viewer",
                      static_cast<int>(i & 1023), 1000);
    }
}

double trace_to(unsigned options, size_t threads, size_t records)
{
    const unsigned former = QV_SetTraceOptions(options);
    const double took = on_threads(threads, [=](size_t) { trace(records / threads); });
    QV_SetTraceOptions(former);
    return took / static_cast<double>(records);
}

double write_bare(size_t threads, size_t records)
{
    const int file = open((bench::folder() + "/write-peer").c_str(),
                          O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644);
    const std::string bytes(record_length, 'm');
    const double took = on_threads(threads,
                                   [&](size_t)
                                   {
                                       for (size_t i = 0; i < records / threads; ++i)
                                           require(write(file, bytes.data(), bytes.size()) ==
                                                       static_cast<ssize_t>(record_length),
                                                   "write");
                                   });
    close(file);
    return took / static_cast<double>(records);
}

double log_elsewhere(size_t threads, size_t records)
{
    const auto logger = std::make_shared<spdlog::logger>(
        "peer",
        std::make_shared<spdlog::sinks::basic_file_sink_mt>(bench::folder() + "/spdlog", true));
    logger->set_pattern("%Y-%m-%d %H:%M:%S.%e *vtq* %t %v");
    logger->flush_on(spdlog::level::trace);
    const double took =
        on_threads(threads,
                   [&](size_t)
                   {
                       double elapsed = 0.25;
                       for (size_t i = 0; i < records / threads; ++i, elapsed += 0.25)
                           logger->info("{:.2f} {:.2f} opened document {} of {} in the viewer",
                                        elapsed, elapsed, i & 1023, 1000);
                   });
    return took / static_cast<double>(records);
}

} // namespace

std::vector<Curve> measure_threads(bool quick)
{
    Curve curve("threads", "Threads that trace at once, 3 tags; ns for each record",
                {{"threads", "threads", 0},
                 {"log_ns", "to the log, ns", 0},
                 {"write_ns", "write(2), ns", 0},
                 {"log_per_write", "ratio", 2},
                 {"spdlog_ns", "spdlog, ns", 0},
                 {"log_per_spdlog", "ratio", 2},
                 {"nowhere_ns", "no destination, ns", 0}});
    const size_t records = quick ? 400 : 32'000;
    const int repetitions = quick ? 1 : 7;
    for (size_t threads = 1; threads <= (quick ? 2 : 16); threads *= 2)
    {
        Series log;
        Series bare;
        Series other;
        Series nowhere;
        for (int i = 0; i < repetitions; ++i)
        {
            CQvLogFile::CloseLog();
            require(QV_Log(L"next\r\n") == QV_OK, "no log");
            log.add(trace_to(QV_DIAG_LOGFILE | QV_DIAG_DEBUGGER, threads, records));
            bare.add(write_bare(threads, records));
            other.add(log_elsewhere(threads, records));
            nowhere.add(trace_to(QV_DIAG_MSGBOX, threads, records));
        }
        curve.add({static_cast<double>(threads), log.median(), bare.median(),
                   log.median() / bare.median(), other.median(), log.median() / other.median(),
                   nowhere.median()});
    }
    return {curve};
}

} // namespace load
