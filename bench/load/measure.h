// How the curves are measured: clocks, medians, memory, threads that start at once.
#pragma once

#include <algorithm>
#include <barrier>
#include <chrono>
#include <cmath>
#include <limits>
#include <thread>
#include <vector>

namespace load
{

inline constexpr double not_measured = std::numeric_limits<double>::quiet_NaN();

// Nanoseconds that the call takes.
template <class Call> double timed(Call call)
{
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start)
        .count();
}

// Processor time of this process, all threads, in nanoseconds.
double processor_time();

// The figures of one variant. Variants that are compared take turns in one loop, so that a busy
// machine affects all of them.
class Series
{
public:
    void add(double value) { m_values.push_back(value); }
    double median() const;

private:
    std::vector<double> m_values;
};

struct Memory
{
    double heap;     // allocated bytes
    double resident; // bytes of pages in memory
};
Memory memory_now();

size_t threads_now();

// Lets the process have as many open files as the system allows.
void raise_file_limit();

// Nanoseconds from the moment when this many threads are released until all of them have ended. The
// start time is taken before any thread continues, since the caller may run late.
template <class Each> double on_threads(size_t count, Each each)
{
    using Clock = std::chrono::steady_clock;
    Clock::time_point start;
    const auto let_loose = [&start]() noexcept { start = Clock::now(); };
    std::barrier ready(static_cast<std::ptrdiff_t>(count), let_loose);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < count; ++i)
        threads.emplace_back(
            [&ready, &each, i]
            {
                ready.arrive_and_wait();
                each(i);
            });
    for (std::thread& thread : threads)
        thread.join();
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

// Throws with the text if held is false: the figure of a failed operation must not count.
void require(bool held, const char* what);

} // namespace load
