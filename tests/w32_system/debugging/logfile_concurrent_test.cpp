// Several threads and processes at one log.
#include <atomic>
#include <map>
#include <sstream>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/log_files.h"
#include "support/processes.h"
#include "support/soak.h"

namespace
{

// Sanitizers make each step many times slower; what they look for shows in fewer steps too.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int records = 1'000;
#else
constexpr int records = 20'000;
#endif
constexpr int processes = 4;
constexpr int threads = 4;

// Each record is filled up with dots to the length.
void log_records(int process, int thread, int count, size_t length)
{
    for (int i = 0; i < count; ++i)
    {
        wchar_t text[512];
        size_t end = static_cast<size_t>(QV_swprintf(text, L"<%d.%d.%d>", process, thread, i));
        while (end < length)
            text[end++] = L'.';
        QV_swprintf(text + end, L"\r\n");
        while (QV_Log(text) != QV_OK)
        {
        }
    }
}

int log_from_threads(int, char** argv)
{
    std::vector<std::thread> all;
    for (int thread = 0; thread < threads; ++thread)
        all.emplace_back(log_records, atoi(argv[0]), thread, records, 0);
    for (std::thread& each : all)
        each.join();
    return 0;
}
const test::ChildMain log_from_threads_main("log-from-threads", log_from_threads);

// Reads every log of the folder and tells whether each record is there once, whole, in order.
void expect_every_record(int process_count, int thread_count, int count)
{
    std::map<std::pair<int, int>, int> next;
    for (const std::string& name : test::log_names())
    {
        std::istringstream file(test::read_file(test::log_folder() + "/" + name));
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

TEST(LogConcurrent, FourProcessesWithFourThreadsLoseAndTearNothing)
{
    test::set_log_setting(L"LogPerSession_4", 0);
    test::start_log();
    std::vector<test::Process> all;
    for (int process = 0; process < processes; ++process)
        all.push_back(test::Process::child("log-from-threads", {std::to_string(process)}));
    for (test::Process& each : all)
        EXPECT_EQ(each.wait(), 0);
    EXPECT_EQ(test::log_names().size(), 1u);
    expect_every_record(processes, threads, records);
}

// PLINTH_SOAK_SECONDS makes it go on for so long.
TEST(LogConcurrent, SplitsLoseNothing)
{
    constexpr int writers = 8;
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
    constexpr size_t length = 500; // fewer records, and as many splits
#else
    constexpr size_t length = 100;
#endif
    constexpr int count = length == 100 ? 25'000 : 2'000;
    const test::SoakTime soak;
    uint64_t total = 0;
    size_t files = 0;
    do
    {
        test::set_log_setting(L"LogPerSession_4", 0);
        test::set_log_setting(L"MaxLogMBytes", 1);
        test::start_log();
        std::vector<std::thread> all;
        for (int thread = 0; thread < writers; ++thread)
            all.emplace_back(log_records, 1, thread, count, length);
        for (std::thread& each : all)
            each.join();
        files += test::log_names().size();
        // A file takes at most the limit, what makes a whole MiB more, and the record behind it.
        EXPECT_GE(test::log_names().size(), writers * count * length / (2u << 20));
        expect_every_record(1, writers, count);
        if (HasFailure())
            return;
        total += static_cast<uint64_t>(writers) * count;
    } while (soak.goes_on());
    soak.report("records", total);
    soak.report("files", files);
}

TEST(LogConcurrent, WritingGoesOnWhileOthersCloseSplitDisableAndClear)
{
    test::start_log();
    std::atomic<bool> done{false};
    // Each round may make a new file, and each new file looks through the folder: without an end,
    // the folder could grow faster than the writers get on.
    constexpr int rounds = 200;
    std::vector<std::thread> others;
    others.emplace_back(
        [&]
        {
            for (int i = 0; i < rounds && !done; ++i)
            {
                CQvLogFile::CloseLog();
                Sleep(1); // each instance looks through the folder: leave the writers some time
            }
        });
    others.emplace_back(
        [&]
        {
            for (int i = 0; i < rounds && !done; ++i)
            {
                CQvLogFile::EnableLog(false);
                CQvLogFile::EnableLog(true);
                Sleep(1);
            }
        });
    others.emplace_back(
        [&]
        {
            for (int i = 0; i < rounds && !done; ++i)
            {
                Sleep(1);
                CQvLogFile::LogPerSession(i % 2 == 0);
                CQvLogFile::SetMaxLogMessageLength(i % 600);
                CQvLogFile::ClearLog();
                CQvLogFile::Detail();
                CQvLogFile::IsPerSession();
                CQvLogFile::GetLogFilename();
            }
        });
    std::vector<std::thread> writers;
    for (int thread = 0; thread < 2; ++thread)
        writers.emplace_back(
            [&]
            {
                for (int good = 0; good < 100;)
                    if (QV_Log(L"text\r\n") == QV_OK)
                        ++good;
                    else
                        Sleep(1); // whoever is turning the log on again needs the lock too
            });
    for (std::thread& each : writers)
        each.join();
    done = true;
    for (std::thread& each : others)
        each.join();
    CQvLogFile::EnableLog(true);
    CQvLogFile::SetMaxLogMessageLength(512);
    EXPECT_EQ(QV_Log(L"at the end"), QV_OK) << "no lock was lost";
}

} // namespace
