// Records that are lost when a process is killed while its threads log. A record is confirmed when
// its call has returned: the process counts confirmed records in memory that outlives it.
#include "curve.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "loggers.h"
#include "measure.h"
#include "paths.h"

namespace load
{

namespace
{

constexpr unsigned writers = 4;

// For the records before a kill, which take a second at most.
constexpr std::chrono::seconds time_limit{60};

// Records that each thread has confirmed.
struct Confirmed
{
    std::atomic<unsigned> of[writers];
};

// In a file that both processes map.
class Counters
{
public:
    explicit Counters(const std::string& file)
    {
        const int fd = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        require(fd >= 0 && ftruncate(fd, sizeof(Confirmed)) == 0, "counters");
        void* const view =
            mmap(nullptr, sizeof(Confirmed), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        close(fd);
        require(view != MAP_FAILED, "mmap");
        m_view = static_cast<Confirmed*>(view);
    }
    Counters(const Counters&) = delete;
    Counters& operator=(const Counters&) = delete;
    ~Counters() { munmap(m_view, sizeof(Confirmed)); }
    Confirmed& operator*() const { return *m_view; }
    unsigned sum() const
    {
        unsigned all = 0;
        for (const std::atomic<unsigned>& each : m_view->of)
            all += each.load();
        return all;
    }

private:
    Confirmed* m_view = nullptr;
};

pid_t start_child(const std::string& kind, const std::string& folder)
{
    char program[] = "/proc/self/exe";
    char option[] = "--logging-child";
    std::string name = kind;
    std::string where = folder;
    std::string parent = std::to_string(getpid());
    char* const arguments[] = {program, option, name.data(), where.data(), parent.data(), nullptr};
    const std::string root = "PLINTH_ROOT=" + folder;
    std::vector<char*> environment;
    for (char** each = environ; *each; ++each)
        if (std::string(*each).rfind("PLINTH_ROOT=", 0) != 0)
            environment.push_back(*each);
    std::string root_text = root;
    environment.push_back(root_text.data());
    environment.push_back(nullptr);
    pid_t child = -1;
    require(posix_spawn(&child, program, nullptr, nullptr, arguments, environment.data()) == 0,
            "posix_spawn");
    return child;
}

// Whether the line has a whole record: its number, and the thread that wrote it.
bool is_record(const std::string& line, size_t& number, size_t& writer)
{
    const size_t at = line.find("document ");
    unsigned found = 0;
    unsigned of = 0;
    char after = 0;
    if (at == std::string::npos ||
        std::sscanf(line.c_str() + at, "document %u of %u%c", &found, &of, &after) != 3 ||
        after != ' ' || of == 0 || of > writers)
        return false;
    number = found;
    writer = of - 1;
    return true;
}

// How many of the confirmed records are in no file of the folder.
unsigned count_lost(const std::string& folder, const Confirmed& confirmed)
{
    std::vector<bool> found[writers];
    for (unsigned i = 0; i < writers; ++i)
        found[i].resize(confirmed.of[i].load());
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
    {
        if (!entry.is_regular_file() || entry.is_symlink())
            continue;
        std::ifstream lines(entry.path());
        for (std::string line; std::getline(lines, line);)
        {
            size_t number = 0;
            size_t writer = 0;
            if (is_record(line, number, writer) && number < found[writer].size())
                found[writer][number] = true;
        }
    }
    unsigned lost = 0;
    for (const std::vector<bool>& each : found)
        lost += static_cast<unsigned>(std::count(each.begin(), each.end(), false));
    return lost;
}

struct Kills
{
    double confirmed = 0;
    double lost = 0;
    double most = 0; // in one kill
};

// Waits until the child has confirmed this many records. False if it ended, or took too long.
bool wait_for_records(const Counters& counters, pid_t child, unsigned wanted)
{
    const auto limit = std::chrono::steady_clock::now() + time_limit;
    while (counters.sum() < wanted)
    {
        if (waitpid(child, nullptr, WNOHANG) != 0)
            return false;
        if (std::chrono::steady_clock::now() > limit)
        {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

void kill_once(const LoggerKind& kind, unsigned after, Kills& kills)
{
    const std::string folder = bench::folder() + "/killed";
    std::filesystem::create_directories(folder);
    {
        const Counters counters(folder + "/counters");
        const pid_t child = start_child(kind.name, folder);
        require(wait_for_records(counters, child, after), "the child that logs");
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        const unsigned lost = count_lost(folder, *counters);
        kills.confirmed += counters.sum();
        kills.lost += lost;
        kills.most = std::max(kills.most, static_cast<double>(lost));
    }
    std::filesystem::remove_all(folder);
}

} // namespace

int logging_child(const std::string& kind, const std::string& folder, pid_t parent)
{
    // The child must not outlive its parent, however the parent ends, even before this call.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        return 1;
    const Counters counters(folder + "/counters");
    for (const LoggerKind& each : logger_kinds())
    {
        if (kind != each.name)
            continue;
        const auto logger = each.make(folder + "/log");
        on_threads(writers,
                   [&](size_t i)
                   {
                       for (unsigned number = 0;; ++number)
                       {
                           logger->log({0, 0, number, static_cast<unsigned>(i) + 1});
                           (*counters).of[i].store(number + 1);
                       }
                   });
    }
    return 1;
}

std::vector<Curve> measure_kills(bool quick)
{
    Curve curve("kills", "Confirmed records that were lost when the process was killed",
                {{"logger", "logger", 0},
                 {"kills", "kills", 0},
                 {"confirmed", "confirmed records", 0},
                 {"lost", "lost", 0},
                 {"most", "most at one kill", 0}});
    const unsigned rounds = quick ? 1 : 10;
    for (const LoggerKind& kind : logger_kinds())
    {
        Kills kills;
        for (unsigned i = 0; i < rounds; ++i)
            kill_once(kind, quick ? 200 : 20'000 + 777 * i, kills);
        curve.add(kind.name,
                  {static_cast<double>(rounds), kills.confirmed, kills.lost, kills.most});
    }
    return {curve};
}

} // namespace load
