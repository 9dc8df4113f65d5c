// The operations that are compared. Each function does its operation a number of times and returns
// the nanoseconds of one. Failures throw: the figure of a failed operation must not count.
#pragma once

#include <chrono>
#include <stdexcept>
#include <string>

namespace peers
{

inline constexpr int records = 2000;     // in one measurement
inline constexpr int file_blocks = 2000; // reads or writes
inline constexpr int opens = 500;
inline constexpr int calls = 300; // hand-overs to another thread
inline constexpr int transfers = 30;
inline constexpr int ticks = 20;         // of a timer
inline constexpr int timer_interval = 5; // ms
inline constexpr size_t block_size = 4096;

// A file of one block, which all sides read and open.
const std::string& source_file();
// A path for a file of one side, in the folder of the run, which is removed afterwards.
std::string path_of(const char* name);

inline void require(bool held, const char* what)
{
    if (!held)
        throw std::runtime_error(what);
}

// The nanoseconds of one call.
template <class Call> double timed(int count, Call call)
{
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < count; ++i)
        call();
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start)
               .count() /
           count;
}

// The mean difference between the time from tick to tick and the interval, in nanoseconds.
class Ticks
{
public:
    // True until all ticks have come.
    bool add()
    {
        const auto now = std::chrono::steady_clock::now();
        if (m_count != 0)
        {
            const double gap = std::chrono::duration<double, std::nano>(now - m_last).count();
            const double error = gap - timer_interval * 1e6;
            m_errors += error < 0 ? -error : error;
        }
        m_last = now;
        return ++m_count < ticks;
    }
    double error() const { return m_errors / (ticks - 1); }

private:
    std::chrono::steady_clock::time_point m_last;
    int m_count = 0;
    double m_errors = 0;
};

// plinth.cpp
double plinth_text();     // QV_Log of 100 characters
double plinth_record();   // DiagOutputExW of 100 characters with a stamp
double plinth_read();     // a block from the start of a file
double plinth_write();    // a block, appended
double plinth_open();     // open and close
double plinth_pool();     // a call to a waiting thread, until it has run
double plinth_transfer(); // an asynchronous write of one block, until its callback
double plinth_timer();    // the error of a timer's period

// boost_log.cpp: a record of 100 characters with a stamp
double boost_flushed();
double boost_buffered();
double boost_asynchronous(); // the caller's time; a thread of the sink writes later

// libuv.cpp
double uv_read();
double uv_write();
double uv_open();
double uv_work();
double uv_transfer();
double uv_timer();

// qt.cpp
double qt_read();
double qt_write();
double qt_open();
double qt_pool();
double qt_timer();

} // namespace peers
