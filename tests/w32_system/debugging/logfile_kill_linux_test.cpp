// Processes that are killed while they log: what a call has confirmed is in the files of the day.
//
// PLINTH_KILLS says how many are killed, a few dozens unless it is set (scripts/kills).
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <memory>
#include <random>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/child_process.h"
#include "support/log_files.h"
#include "support/soak.h"

namespace
{

constexpr unsigned usual_kills = 48;
constexpr unsigned kills_in_a_round = 48; // then the files are read, and the log starts anew
constexpr size_t writers = 4;             // at a time
constexpr unsigned most_records = 80;     // before a writer is killed

// What each writer has been told of so far, in memory that outlives it.
class Confirmed
{
public:
    Confirmed(const std::string& path, size_t count) : m_size(count * sizeof(Counter))
    {
        const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (fd < 0 || ftruncate(fd, static_cast<off_t>(m_size)) != 0)
            std::abort();
        m_view = mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        close(fd);
        if (m_view == MAP_FAILED)
            std::abort();
    }
    Confirmed(const Confirmed&) = delete;
    Confirmed& operator=(const Confirmed&) = delete;
    ~Confirmed() { munmap(m_view, m_size); }

    using Counter = std::atomic<uint32_t>;
    static_assert(Counter::is_always_lock_free);
    Counter& of(size_t writer) { return static_cast<Counter*>(m_view)[writer]; }

private:
    size_t m_size;
    void* m_view;
};

// Each record has a length of its own, so that a piece of one isn't taken for another; many are
// longer than a page.
std::string record(unsigned writer, unsigned number)
{
    std::string text = "<" + std::to_string(writer) + "." + std::to_string(number) + ">";
    text.append((writer * 2'671 + number * 7'919) % 6'000, '.');
    return text;
}

// Every third record is a trace, which has a stamp before it.
bool is_trace(unsigned number)
{
    return number % 3 == 0;
}

// The record behind which a writer goes on in another file, or one close to it.
unsigned record_of_split(unsigned writer)
{
    constexpr size_t limit = 2u << 20; // a file may exceed its one MiB by less than another
    size_t bytes = 0;
    unsigned number = 0;
    while (bytes < limit)
    {
        ++number;
        bytes += record(writer, number).size() + (is_trace(number) ? 32 : 2);
    }
    return number;
}

int write_until_killed(int, char** argv)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL); // not longer than the test, however that ends
    const auto writer = static_cast<unsigned>(std::atoi(argv[1]));
    Confirmed confirmed(argv[0], static_cast<size_t>(std::atoi(argv[2])));
    CQvLogFile::SetMaxLogMessageLength(-1);
    QV_SetTraceOptions(QV_DIAG_LOGFILE);
    for (unsigned number = 1;; ++number)
    {
        const std::string text = record(writer, number);
        if (is_trace(number))
            DiagOutputExW(L"%hs", text.c_str());
        else if (const int status = QV_Log(test::Wide(text + "\r\n")); status != QV_OK)
            return -status;
        confirmed.of(writer).store(number, std::memory_order_release);
    }
}
const test::ChildMain write_until_killed_main("write-until-killed", write_until_killed);

// The number of a whole record and its writer; {0, 0} for a line of the library's own.
struct Line
{
    unsigned writer = 0;
    unsigned number = 0;
};

// Whether a text is one whole line, without its line end.
bool is_whole(const std::string& text, Line& line)
{
    static const std::regex stamp("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\*vtq\\* ");
    std::smatch found;
    const std::string head = text.substr(0, 40);
    const bool stamped = std::regex_search(head, found, stamp);
    const std::string rest = stamped ? text.substr(static_cast<size_t>(found.length())) : text;
    line = {};
    if (std::sscanf(rest.c_str(), "<%u.%u>", &line.writer, &line.number) == 2)
        return stamped == is_trace(line.number) && rest == record(line.writer, line.number);
    return stamped && rest.find('<') == std::string::npos;
}

// What the files of the day hold, against what was confirmed.
class Reading
{
public:
    explicit Reading(size_t count) : m_last(count) {}

    void read_all()
    {
        for (const std::string& name : test::log_names())
        {
            const std::string content = test::read_file(test::log_folder() + "/" + name);
            size_t start = 0;
            for (size_t end; (end = content.find("\r\n", start)) != std::string::npos;
                 start = end + 2)
                take(name, content.substr(start, end - start));
            m_torn += start < content.size(); // the last process of the file
            ++m_files;
        }
    }

    uint32_t last(size_t writer) const { return m_last[writer]; }
    uint64_t records() const { return m_records; }
    size_t files() const { return m_files; }
    size_t torn() const { return m_torn; }

private:
    void take(const std::string& name, const std::string& text)
    {
        Line line;
        if (!is_whole(text, line))
        {
            // The beginning of a record that its writer died in, and the next one's right behind.
            size_t at = 1;
            while (at < text.size() && !is_whole(text.substr(at), line))
                at = std::min(text.find_first_of("<0123456789", at + 1), text.size());
            ASSERT_LT(at, text.size()) << name << ": damaged: " << text.substr(0, 200);
            ++m_torn;
        }
        if (line.number == 0)
            return;
        ASSERT_LT(line.writer, m_last.size());
        ASSERT_EQ(line.number, m_last[line.writer] + 1)
            << name << ": of writer " << line.writer << " lost, doubled or out of order";
        m_last[line.writer] = line.number;
        ++m_records;
    }

    std::vector<uint32_t> m_last; // the number of each writer's last record
    uint64_t m_records = 0;
    size_t m_files = 0;
    size_t m_torn = 0;
};

// Writers come and are killed, the oldest each time, in the midst of their records.
void kill_writers(unsigned kills, const std::string& page, Confirmed& confirmed)
{
    std::mt19937 generator(std::random_device{}());
    const auto random = [&] { return static_cast<uint32_t>(generator()); };
    struct Writer
    {
        std::unique_ptr<test::ChildProcess> process;
        unsigned number;
    };
    std::deque<Writer> alive;
    unsigned started = 0;
    for (unsigned killed = 0; killed < kills; ++killed)
    {
        for (; alive.size() < writers && started < kills; ++started)
            alive.push_back(
                {std::make_unique<test::ChildProcess>(
                     "write-until-killed", std::vector<std::string>{page, std::to_string(started),
                                                                    std::to_string(kills)}),
                 started});
        const Writer writer = std::move(alive.front());
        alive.pop_front();
        // One in four about where it splits the log, the first right behind that, and one in so
        // many while it starts.
        const uint32_t before_split = writer.number == 0 ? 0 : random() % 5;
        const uint32_t records = writer.number % 4 == 0
                                     ? record_of_split(writer.number) + 1 - before_split
                                     : random() % most_records;
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (confirmed.of(writer.number) < records)
        {
            std::this_thread::sleep_for(std::chrono::microseconds(50));
            ASSERT_LT(std::chrono::steady_clock::now(), limit) << "a writer gets nowhere";
        }
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 300));
        writer.process->finish(SIGKILL);
        ASSERT_EQ(writer.process->wait(), 128 + SIGKILL) << "it ended by itself: its call failed";
    }
}

struct Totals
{
    uint64_t kills = 0;
    uint64_t rounds = 0;
    uint64_t confirmed = 0;
    uint64_t found = 0;
    size_t files = 0;
    size_t torn = 0;
};

// One round with a log of its own.
void kill_and_read(unsigned kills, Totals& totals)
{
    test::set_log_setting(L"LogPerSession_4", 0);
    test::set_log_setting(L"MaxLogMBytes", 1);
    test::start_log();
    const std::string page = test::root() + "/confirmed-" + std::to_string(totals.rounds);
    Confirmed confirmed(page, kills);
    kill_writers(kills, page, confirmed);
    Reading reading(kills);
    if (!testing::Test::HasFatalFailure())
        reading.read_all();
    if (testing::Test::HasFatalFailure())
        return;
    for (unsigned writer = 0; writer < kills; ++writer)
    {
        const uint32_t number = confirmed.of(writer);
        totals.confirmed += number;
        EXPECT_GE(reading.last(writer), number) << "writer " << writer << ": confirmed and lost";
        EXPECT_LE(reading.last(writer), number + 1) << "writer " << writer;
    }
    totals.kills += kills;
    ++totals.rounds;
    totals.found += reading.records();
    totals.files += reading.files();
    totals.torn += reading.torn();
}

TEST(LogConcurrent, ProcessesKilledAtAnyMomentLoseNothingThatWasConfirmed)
{
    const char* const asked = std::getenv("PLINTH_KILLS");
    const unsigned kills = asked ? static_cast<unsigned>(std::atoi(asked)) : usual_kills;
    const test::SoakTime soak;
    Totals totals;
    do
    {
        const auto left = static_cast<unsigned>(kills - totals.kills % kills);
        kill_and_read(std::min(left, kills_in_a_round), totals);
    } while (!HasFailure() && (totals.kills % kills != 0 || soak.goes_on()));
    EXPECT_GT(totals.files, totals.rounds) << "no log was split";
    if (asked)
        std::printf("kills: %llu processes killed, %llu records confirmed, %llu found whole in "
                    "%zu files, %zu unconfirmed ones torn\n",
                    static_cast<unsigned long long>(totals.kills),
                    static_cast<unsigned long long>(totals.confirmed),
                    static_cast<unsigned long long>(totals.found), totals.files, totals.torn);
    soak.report("processes killed", totals.kills);
    soak.report("records confirmed", totals.confirmed);
}

} // namespace
