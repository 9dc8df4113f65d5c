// Processes that are killed while they log: the day's files must have every record that a call has
// confirmed.
//
// PLINTH_KILLS is the number of kills, a few dozen unless it is set (scripts/kills).
#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <iostream>
#include <memory>
#include <random>
#include <regex>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/child_process.h"
#include "support/log_files.h"
#include "support/soak.h"

namespace
{

constexpr unsigned usual_kills = 48;
constexpr unsigned kills_in_a_round = 48; // then the files are read, and a new log begins
constexpr size_t writers = 4;             // at a time
constexpr unsigned most_records = 80;     // before a writer is killed

// The number of confirmed records of each writer of a round, in memory that outlives the writer.
using Counter = std::atomic<uint32_t>;
static_assert(Counter::is_always_lock_free);

Counter* confirmed_records()
{
    constexpr size_t size = kills_in_a_round * sizeof(Counter);
    const int fd = open((test::root() + "/confirmed").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0 || ftruncate(fd, size) != 0)
        std::abort();
    void* const view = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (view == MAP_FAILED)
        std::abort();
    return static_cast<Counter*>(view);
}

// Records differ in length, so that a part of one isn't taken for another; many are longer than a
// page.
std::string record(unsigned writer, unsigned number)
{
    std::string text = "<" + std::to_string(writer) + "." + std::to_string(number) + ">";
    text.append((writer * 2'671 + number * 7'919) % 6'000, '.');
    return text;
}

// About the number of the record that makes a writer continue in another file.
unsigned record_of_split(unsigned writer)
{
    constexpr size_t limit = 2u << 20; // a file may exceed its 1 MiB by less than 1 MiB
    size_t bytes = 0;
    unsigned number = 0;
    while (bytes < limit)
    {
        ++number;
        bytes += record(writer, number).size() + 2;
    }
    return number;
}

// Half of the writers fork and close all their descriptors now and then, as servers and daemons do.
void be_a_daemon(unsigned writer, unsigned number)
{
    constexpr unsigned interval = 32; // records
    if (writer % 2 == 0 || number % interval != 0)
        return;
    const pid_t child = fork();
    if (child == 0)
    {
        close_range(3, ~0U, 0);
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    close_range(3, ~0U, 0);
}

int write_until_killed(int, char** argv)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL); // it never outlives the test
    const auto writer = static_cast<unsigned>(std::atoi(argv[0]));
    Counter& confirmed = confirmed_records()[writer];
    CQvLogFile::SetMaxLogMessageLength(-1);
    for (unsigned number = 1;; ++number)
    {
        const int status = QV_Log(test::Wide(record(writer, number) + "\r\n"));
        if (status != QV_OK)
            return -status;
        confirmed.store(number, std::memory_order_release);
        be_a_daemon(writer, number);
    }
}
const test::ChildMain write_until_killed_main("write-until-killed", write_until_killed);

// The number of a whole record and its writer; {0, 0} for a line of the library itself.
struct Line
{
    unsigned writer = 0;
    unsigned number = 0;
};

// Whether a text is one whole line, without its line end.
bool is_whole(const std::string& text, Line& line)
{
    static const std::regex own("^" + test::stamp_pattern + "[^<]*");
    line = {};
    if (std::sscanf(text.c_str(), "<%u.%u>", &line.writer, &line.number) == 2)
        return text == record(line.writer, line.number);
    return text.size() < 100 && std::regex_match(text, own);
}

using LogConcurrent = test::FreshLog;

class Killing
{
public:
    // One round with a new log.
    void round(unsigned count)
    {
        test::set_log_setting(L"LogPerSession_4", 0);
        test::set_log_setting(L"MaxLogMBytes", 1);
        test::start_log();
        std::fill_n(m_confirmed, count, 0u);
        std::fill_n(m_last, count, 0u);
        kill_writers(count);
        if (!testing::Test::HasFatalFailure())
            read_all();
        kills += count;
        ++rounds;
        for (unsigned writer = 0; writer < count && !testing::Test::HasFatalFailure(); ++writer)
        {
            const uint32_t number = m_confirmed[writer];
            records += number;
            EXPECT_GE(m_last[writer], number) << "writer " << writer << ": confirmed and lost";
            EXPECT_LE(m_last[writer], number + 1) << "writer " << writer;
        }
    }

    uint64_t kills = 0;
    uint64_t rounds = 0;
    uint64_t records = 0; // confirmed
    uint64_t found = 0;   // whole records
    size_t files = 0;
    size_t torn = 0;

private:
    // Starts writers and kills the oldest of them each time, while it writes.
    void kill_writers(unsigned count)
    {
        std::deque<std::unique_ptr<test::ChildProcess>> alive;
        unsigned started = 0;
        for (unsigned number = 0; number < count; ++number)
        {
            for (; alive.size() < writers && started < count; ++started)
                alive.push_back(std::make_unique<test::ChildProcess>(
                    "write-until-killed", std::vector{std::to_string(started)}));
            const auto writer = std::move(alive.front());
            alive.pop_front();
            // One writer in four is killed about when it splits the log, the first right after
            // that; some are killed while they start.
            const uint32_t before_split = number == 0 ? 0 : random(5);
            const uint32_t wanted =
                number % 4 == 0 ? record_of_split(number) + 1 - before_split : random(most_records);
            const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
            while (m_confirmed[number] < wanted)
            {
                std::this_thread::sleep_for(std::chrono::microseconds(50));
                ASSERT_LT(std::chrono::steady_clock::now(), limit) << "a writer gets nowhere";
            }
            std::this_thread::sleep_for(std::chrono::microseconds(random(300)));
            writer->finish(SIGKILL);
            ASSERT_EQ(writer->wait(), 128 + SIGKILL) << "it ended by itself: its call failed";
        }
    }
    uint32_t random(uint32_t limit) { return static_cast<uint32_t>(m_generator()) % limit; }

    // Checks the content of the day's files.
    void read_all()
    {
        for (const std::string& name : test::log_names())
        {
            SCOPED_TRACE(name);
            const std::string content = test::read_log(name);
            size_t start = 0;
            for (size_t end; (end = content.find("\r\n", start)) != std::string::npos;
                 start = end + 2)
                take(content.substr(start, end - start));
            torn += start < content.size(); // cut by the last kill in the file
            ++files;
        }
    }
    void take(const std::string& text)
    {
        Line line;
        if (!is_whole(text, line))
        {
            // The cut record of a killed writer, and right after it a whole one of the next writer.
            size_t at = 1;
            while (at < text.size() && !is_whole(text.substr(at), line))
                at = std::min(text.find_first_of("<0123456789", at + 1), text.size());
            ASSERT_LT(at, text.size()) << "damaged: " << text.substr(0, 200);
            ++torn;
        }
        if (line.number == 0)
            return;
        ASSERT_LT(line.writer, kills_in_a_round);
        ASSERT_EQ(line.number, ++m_last[line.writer])
            << "of writer " << line.writer << " lost, doubled or out of order";
        ++found;
    }

    Counter* const m_confirmed = confirmed_records();
    uint32_t m_last[kills_in_a_round] = {}; // the number of each writer's last record
    std::mt19937 m_generator{std::random_device{}()};
};

TEST_F(LogConcurrent, ProcessesKilledAtAnyMomentLoseNothingThatWasConfirmed)
{
    const char* const asked = std::getenv("PLINTH_KILLS");
    const unsigned kills = asked ? static_cast<unsigned>(std::atoi(asked)) : usual_kills;
    const test::SoakTime soak;
    Killing killing;
    do
        killing.round(
            std::min(static_cast<unsigned>(kills - killing.kills % kills), kills_in_a_round));
    while (!HasFailure() && (killing.kills % kills != 0 || soak.goes_on()));
    EXPECT_GT(killing.files, killing.rounds) << "no log was split";
    if (asked)
        std::cout << "kills: " << killing.kills << " processes killed, " << killing.records
                  << " records confirmed, " << killing.found << " found whole in " << killing.files
                  << " files, " << killing.torn << " unconfirmed ones torn\n";
    soak.report("processes killed", killing.kills);
    soak.report("records confirmed", killing.records);
}

} // namespace
