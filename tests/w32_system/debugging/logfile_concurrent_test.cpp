// Several threads and processes at one log.
#include <atomic>
#include <map>
#include <sstream>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/log_files.h"
#include "support/processes.h"

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

void log_records(int process, int thread)
{
    for (int i = 0; i < records; ++i)
    {
        wchar_t text[64];
        QV_swprintf(text, L"<%d.%d.%d>\r\n", process, thread, i);
        while (QV_Log(text) != QV_OK)
        {
        }
    }
}

int log_from_threads(int, char** argv)
{
    std::vector<std::thread> all;
    for (int thread = 0; thread < threads; ++thread)
        all.emplace_back(log_records, atoi(argv[0]), thread);
    for (std::thread& each : all)
        each.join();
    return 0;
}
const test::ChildMain log_from_threads_main("log-from-threads", log_from_threads);

// Reads every log of the folder and tells whether each record is there once, whole, in order.
void expect_every_record(int process_count, int thread_count)
{
    std::map<std::pair<int, int>, int> next;
    int other = 0;
    for (const std::string& name : test::log_names())
    {
        std::istringstream file(test::read_file(test::log_folder() + "/" + name));
        for (std::string line; std::getline(file, line);)
        {
            int process, thread, number;
            char end;
            if (sscanf(line.c_str(), "<%d.%d.%d%c", &process, &thread, &number, &end) != 4 ||
                end != '>' || line.back() != '\r')
            {
                ++other; // session headers, and the record of each load
                EXPECT_NE(line.find(" *vtq* "), std::string::npos) << "torn: " << line;
                continue;
            }
            ASSERT_EQ((next[{process, thread}]++), number) << "lost, doubled or out of order";
        }
    }
    EXPECT_EQ(next.size(), static_cast<size_t>(process_count * thread_count));
    for (const auto& each : next)
        EXPECT_EQ(each.second, records);
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
    expect_every_record(processes, threads);
}

TEST(LogConcurrent, SplitsLoseNothing)
{
    test::set_log_setting(L"LogPerSession_4", 0);
    test::start_log();
    EXPECT_EQ(CQvLogFile::SetProperties(0, 10), QV_OK); // the running limit of 0: at each MiB
    std::vector<std::thread> all;
    for (int thread = 0; thread < 8; ++thread)
        all.emplace_back(
            []
            {
                CQvLogFile::SetProperties(0, 10);
                wchar_t filler[512];
                for (wchar_t& c : filler)
                    c = L'.';
                filler[500] = L'\0';
                for (int i = 0; i < records / 10; ++i)
                    QV_Log(filler);
                QV_Log(L" *vtq* \r\n");
            });
    all.emplace_back(log_records, 1, 1);
    for (std::thread& each : all)
        each.join();
    std::map<int, int> seen;
    for (const std::string& name : test::log_names())
    {
        const std::string content = test::read_file(test::log_folder() + "/" + name);
        for (size_t at = content.find("<1.1."); at != std::string::npos;
             at = content.find("<1.1.", at + 1))
            ++seen[atoi(content.c_str() + at + 5)];
    }
    EXPECT_EQ(seen.size(), static_cast<size_t>(records));
    for (const auto& each : seen)
        ASSERT_EQ(each.second, 1) << each.first;
}

TEST(LogConcurrent, WritingGoesOnWhileOthersCloseSplitDisableAndClear)
{
    test::start_log();
    std::atomic<bool> done{false};
    std::vector<std::thread> others;
    others.emplace_back(
        [&]
        {
            while (!done)
            {
                CQvLogFile::CloseLog();
                Sleep(1); // each instance looks through the folder: leave the writers some time
            }
        });
    others.emplace_back(
        [&]
        {
            while (!done)
            {
                CQvLogFile::EnableLog(false);
                CQvLogFile::EnableLog(true);
                Sleep(1);
            }
        });
    others.emplace_back(
        [&]
        {
            for (int i = 0; !done; ++i)
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
                    good += QV_Log(L"text\r\n") == QV_OK;
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
