// The cost of a record with four arguments for the thread that logs it, and the time until all
// records are in the file: this library and other loggers, with 1, 2 and 4 threads.
#include "curve.h"

#include <filesystem>

#include "loggers.h"
#include "measure.h"
#include "paths.h"

namespace load
{

namespace
{

constexpr double a_step = 0.25;

void log_share(Logger& logger, size_t records)
{
    for (size_t i = 0; i < records; ++i)
    {
        const double value = static_cast<double>(i) * a_step;
        logger.log({value, value, static_cast<unsigned>(i), 0});
    }
}

// Nanoseconds of each call. The clock is read once between two calls.
void time_share(Logger& logger, std::vector<float>& times)
{
    auto before = std::chrono::steady_clock::now();
    for (size_t i = 0; i < times.size(); ++i)
    {
        const double value = static_cast<double>(i) * a_step;
        logger.log({value, value, static_cast<unsigned>(i), 0});
        const auto now = std::chrono::steady_clock::now();
        times[i] = std::chrono::duration<float, std::nano>(now - before).count();
        before = now;
    }
}

struct Figures
{
    Series all; // ns a record, until all are in the file
    Series at50;
    Series at99;
    Series at999;
};

std::string fresh_file(size_t number)
{
    const std::string file = bench::folder() + "/logger-" + std::to_string(number);
    std::filesystem::remove(file);
    return file;
}

void measure_total(const LoggerKind& kind, const std::string& file, size_t threads, size_t records,
                   Figures& figures)
{
    const auto logger = kind.make(file);
    const double calls =
        on_threads(threads, [&](size_t) { log_share(*logger, records / threads); });
    const double rest = timed([&] { logger->finish(); });
    figures.all.add((calls + rest) / static_cast<double>(records));
}

// In a run of its own, so that reading the clock doesn't add to the total.
void measure_calls(const LoggerKind& kind, const std::string& file, size_t threads, size_t records,
                   Figures& figures)
{
    const auto logger = kind.make(file);
    std::vector<std::vector<float>> times(threads, std::vector<float>(records / threads));
    on_threads(threads, [&](size_t i) { time_share(*logger, times[i]); });
    logger->finish();
    std::vector<float> all;
    for (const std::vector<float>& each : times)
        all.insert(all.end(), each.begin(), each.end());
    std::sort(all.begin(), all.end());
    figures.at50.add(all[all.size() / 2]);
    figures.at99.add(all[all.size() * 99 / 100]);
    figures.at999.add(all[all.size() * 999 / 1000]);
}

} // namespace

std::vector<Curve> measure_records(bool quick)
{
    Curve curve("records", "Records with four arguments, two of them %.2f; ns for each",
                {{"logger", "logger", 0},
                 {"threads", "threads", 0},
                 {"on_file_ns", "until all are on file, ns", 0},
                 {"call_50_ns", "a call, 50 %, ns", 0},
                 {"call_99_ns", "99 %, ns", 0},
                 {"call_999_ns", "99.9 %, ns", 0}});
    const size_t records = quick ? 400 : 40'000;
    const int rounds = quick ? 1 : 5;
    for (const size_t threads : {1u, 2u, 4u})
    {
        std::vector<Figures> figures(logger_kinds().size());
        for (int round = 0; round < rounds; ++round)
            for (size_t i = 0; i < figures.size(); ++i)
            {
                const std::string file = fresh_file(i);
                measure_total(logger_kinds()[i], file, threads, records, figures[i]);
                measure_calls(logger_kinds()[i], file, threads, records, figures[i]);
            }
        for (size_t i = 0; i < figures.size(); ++i)
            curve.add(logger_kinds()[i].name,
                      {static_cast<double>(threads), figures[i].all.median(),
                       figures[i].at50.median(), figures[i].at99.median(),
                       figures[i].at999.median()});
    }
    return {curve};
}

} // namespace load
