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

// The figures of one variant. Variants that are set against each other take their turns in one
// loop, so that a busy machine hits all of them.
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
    double heap;     // bytes that are allocated
    double resident; // bytes of pages that are in memory
};
Memory memory_now();

size_t threads_now();

// Lets the process have as many files open as the system allows it.
void raise_file_limit();

// Nanoseconds from the moment at which so many threads are let loose until all of them are through.
// The start time is taken before any thread goes on, since the caller may run late.
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

// Throws with the text if it doesn't hold: a figure of something that failed is none.
void require(bool held, const char* what);

} // namespace load
