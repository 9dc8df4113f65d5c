// Several threads write one log. Several processes: logfile_kill_linux_test.cpp.
#include <atomic>
#include <sstream>
#include <thread>

#include "support/log_files.h"
#include "support/soak.h"

namespace
{

// Sanitizers make each step many times slower; fewer, longer records show the same faults.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int records = 2'000;
constexpr size_t record_length = 500;
#else
constexpr int records = 25'000;
constexpr size_t record_length = 100;
#endif
constexpr int threads = 8;

using LogConcurrent = test::FreshLog;

// Numbered records, each filled up with dots.
void log_records(int thread)
{
    for (int i = 0; i < records; ++i)
    {
        wchar_t text[512];
        auto end = static_cast<size_t>(QV_swprintf(text, L"<%d.%d>", thread, i));
        while (end < record_length)
            text[end++] = L'.';
        QV_swprintf(text + end, L"\r\n");
        while (QV_Log(text) != QV_OK)
        {
        }
    }
}

// Reads every log of the folder and checks that each record is there once, whole, in order.
void expect_every_record()
{
    std::vector<int> next(threads);
    for (const std::string& name : test::log_names())
    {
        std::istringstream file(test::read_log(name));
        for (std::string line; std::getline(file, line);)
        {
            int thread, number, end = 0;
            sscanf(line.c_str(), "<%d.%d>%n", &thread, &number, &end);
            if (line.find_first_not_of('.', static_cast<size_t>(end)) != record_length ||
                line.substr(record_length) != "\r")
            {
                // session headers
                EXPECT_NE(line.find(" *vtq* "), std::string::npos) << "torn: " << line;
                continue;
            }
            ASSERT_EQ(next.at(static_cast<size_t>(thread))++, number)
                << name << ": lost, doubled or out of order";
        }
    }
    EXPECT_EQ(next, std::vector(threads, records));
}

TEST_F(LogConcurrent, SplitsLoseNothing)
{
    const test::SoakTime soak;
    uint64_t total = 0;
    size_t files = 0;
    test::set_log_setting(L"LogPerSession_4", 0);
    test::set_log_setting(L"MaxLogMBytes", 1);
    do
    {
        test::start_log();
        {
            std::vector<std::jthread> all;
            for (int thread = 0; thread < threads; ++thread)
                all.emplace_back(log_records, thread);
        }
        files += test::log_names().size();
        // A file holds at most the limit, the rest of a whole MiB, and the record after it.
        EXPECT_GE(test::log_names().size(), threads * records * record_length / (2u << 20));
        expect_every_record();
        total += uint64_t{threads} * records;
    } while (soak.goes_on() && !HasFailure());
    soak.report("records", total);
    soak.report("files", files);
}

TEST_F(LogConcurrent, WritingGoesOnWhileOthersCloseSplitDisableAndClear)
{
    // Each round may make a new file, and each new file searches the folder: without a limit, the
    // folder could grow faster than the writers progress.
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
                        Sleep(1); // the thread that enables the log needs the lock too
            });
    writers.clear(); // joins them
    done = true;
    others.clear();
    CQvLogFile::SetMaxLogMessageLength(512);
    EXPECT_EQ(QV_Log(L"at the end"), QV_OK) << "no lock was lost";
}

} // namespace
