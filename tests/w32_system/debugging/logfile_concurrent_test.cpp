// Several threads and processes at one log.
#include <atomic>
#include <map>
#include <sstream>
#include <thread>

#include "support/log_files.h"
#include "support/processes.h"
#include "support/soak.h"

namespace
{

// Sanitizers make each step many times slower; what they look for shows in fewer steps too. For
// splits, fewer records are longer.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int records = 1'000;
constexpr int split_records = 2'000;
constexpr size_t split_length = 500;
#else
constexpr int records = 20'000;
constexpr int split_records = 25'000;
constexpr size_t split_length = 100;
#endif
constexpr int processes = 4;
constexpr int threads = 4;

using LogConcurrent = test::FreshLog;

// Numbered records from several threads, each one filled up with dots to the length.
void log_records(int process, int thread_count, int count, size_t length)
{
    std::vector<std::jthread> all;
    for (int thread = 0; thread < thread_count; ++thread)
        all.emplace_back(
            [=]
            {
                for (int i = 0; i < count; ++i)
                {
                    wchar_t text[512];
                    auto end =
                        static_cast<size_t>(QV_swprintf(text, L"<%d.%d.%d>", process, thread, i));
                    while (end < length)
                        text[end++] = L'.';
                    QV_swprintf(text + end, L"\r\n");
                    while (QV_Log(text) != QV_OK)
                    {
                    }
                }
            });
}

int log_from_threads(int, char** argv)
{
    log_records(atoi(argv[0]), threads, records, 0);
    return 0;
}
const test::ChildMain log_from_threads_main("log-from-threads", log_from_threads);

// Reads every log of the folder and tells whether each record is there once, whole, in order.
void expect_every_record(int process_count, int thread_count, int count)
{
    std::map<std::pair<int, int>, int> next;
    for (const std::string& name : test::log_names())
    {
        std::istringstream file(test::read_log(name));
        for (std::string line; std::getline(file, line);)
        {
            int process, thread, number, end = 0;
            sscanf(line.c_str(), "<%d.%d.%d>%n", &process, &thread, &number, &end);
            if (end == 0 ||
                line.find_first_not_of('.', static_cast<size_t>(end)) != line.size() - 1 ||
                line.back() != '\r')
            {
                // session headers, and the record of each load
                EXPECT_NE(line.find(" *vtq* "), std::string::npos) << "torn: " << line;
                continue;
            }
            ASSERT_EQ((next[{process, thread}]++), number)
                << name << ": lost, doubled or out of order";
        }
    }
    EXPECT_EQ(next.size(), static_cast<size_t>(process_count * thread_count));
    for (const auto& each : next)
        EXPECT_EQ(each.second, count);
}

TEST_F(LogConcurrent, FourProcessesWithFourThreadsLoseAndTearNothing)
{
    test::set_log_setting(L"LogPerSession_4", 0);
    std::vector<test::Process> all;
    for (int process = 0; process < processes; ++process)
        all.push_back(test::Process::child("log-from-threads", {std::to_string(process)}));
    for (test::Process& each : all)
        EXPECT_EQ(each.wait(), 0);
    EXPECT_EQ(test::log_names().size(), 1u);
    expect_every_record(processes, threads, records);
}

TEST_F(LogConcurrent, SplitsLoseNothing)
{
    constexpr int writers = 8;
    const test::SoakTime soak;
    uint64_t total = 0;
    size_t files = 0;
    test::set_log_setting(L"LogPerSession_4", 0);
    test::set_log_setting(L"MaxLogMBytes", 1);
    do
    {
        test::start_log();
        log_records(1, writers, split_records, split_length);
        files += test::log_names().size();
        // A file takes at most the limit, what makes a whole MiB more, and the record behind it.
        EXPECT_GE(test::log_names().size(), writers * split_records * split_length / (2u << 20));
        expect_every_record(1, writers, split_records);
        total += uint64_t{writers} * split_records;
    } while (soak.goes_on() && !HasFailure());
    soak.report("records", total);
    soak.report("files", files);
}

TEST_F(LogConcurrent, WritingGoesOnWhileOthersCloseSplitDisableAndClear)
{
    // Each round may make a new file, and each new file looks through the folder: without an end,
    // the folder could grow faster than the writers progress.
    constexpr int rounds = 200;
    constexpr void (*disturb[])(int round) = {[](int) { CQvLogFile::CloseLog(); },
                                              [](int)
                                              {
                                                  CQvLogFile::EnableLog(false);
                                                  CQvLogFile::EnableLog(true);
                                              },
                                              [](int round)
                                              {
                                                  CQvLogFile::LogPerSession(round % 2 == 0);
                                                  CQvLogFile::SetMaxLogMessageLength(round % 600);
                                                  CQvLogFile::ClearLog();
                                                  CQvLogFile::Detail();
                                                  CQvLogFile::IsPerSession();
                                                  CQvLogFile::GetLogFilename();
                                              }};
    std::atomic<bool> done{false};
    std::vector<std::jthread> others;
    for (const auto each : disturb)
        others.emplace_back(
            [&done, each]
            {
                for (int round = 0; round < rounds && !done; ++round)
                {
                    each(round);
                    Sleep(1); // leaves the writers some time
                }
            });
    std::vector<std::jthread> writers;
    for (int thread = 0; thread < 2; ++thread)
        writers.emplace_back(
            []
            {
                for (int good = 0; good < 100;)
                    if (QV_Log(L"text\r\n") == QV_OK)
                        ++good;
                    else
                        Sleep(1); // the thread that turns the log on again needs the lock too
            });
    writers.clear(); // joins them
    done = true;
    others.clear();
    CQvLogFile::SetMaxLogMessageLength(512);
    EXPECT_EQ(QV_Log(L"at the end"), QV_OK) << "no lock was lost";
}

} // namespace
