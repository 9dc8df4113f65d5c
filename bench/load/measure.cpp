#include "measure.h"

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <stdexcept>
#include <string>

#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

namespace load
{

double processor_time()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double Series::median() const
{
    if (m_values.empty())
        return not_measured;
    std::vector<double> sorted = m_values;
    std::sort(sorted.begin(), sorted.end());
    return sorted[sorted.size() / 2];
}

Memory memory_now()
{
    const struct mallinfo2 heap = mallinfo2(); // of all arenas
    long pages[2] = {};
    if (std::FILE* const file = std::fopen("/proc/self/statm", "re"))
    {
        require(std::fscanf(file, "%ld %ld", &pages[0], &pages[1]) == 2, "/proc/self/statm");
        std::fclose(file);
    }
    return {static_cast<double>(heap.uordblks + heap.hblkhd),
            static_cast<double>(pages[1] * sysconf(_SC_PAGESIZE))};
}

size_t threads_now()
{
    const std::filesystem::directory_iterator all("/proc/self/task");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

void raise_file_limit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0)
    {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

void require(bool held, const char* what)
{
    if (!held)
        throw std::runtime_error(what);
}

} // namespace load
