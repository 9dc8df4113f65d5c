// Viewers as other processes, for benchmarks: each is started, and reports whether it received all
// texts and lost none.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <sys/types.h>

namespace bench
{

// A program that ends when it has received the number of texts that its arguments name. It is ready
// when it has written a line to standard error. Its standard output is /dev/null.
class CountingViewer
{
public:
    explicit CountingViewer(std::vector<std::string> words);
    ~CountingViewer();
    CountingViewer(const CountingViewer&) = delete;
    CountingViewer& operator=(const CountingViewer&) = delete;

    bool ready() const { return m_ready; }
    // Waits until the program has ended. True if it received all texts.
    bool had_all();

private:
    pid_t m_pid = -1;
    int m_messages = -1;
    bool m_ready = false;
};

// plinth-trace on a terminal of its own, whose output is read all the time.
class ScreenViewer
{
public:
    explicit ScreenViewer(std::vector<std::string> words);
    ~ScreenViewer();
    ScreenViewer(const ScreenViewer&) = delete;
    ScreenViewer& operator=(const ScreenViewer&) = delete;

    bool ready() const { return m_ready; }
    // Writes one more text, and waits until it is on the screen.
    bool had_last();
    // Whether the screen then shows this number of records, and none lost.
    bool had_all(uint64_t records);

private:
    void read_all();
    bool shows(const std::string& text);
    void forget();

    pid_t m_pid = -1;
    int m_terminal = -1;
    bool m_ready = false;
    std::mutex m_lock; // guards what follows, up to the thread
    std::condition_variable m_arrived;
    std::string m_read; // since it was forgotten last
    bool m_is_over = false;
    std::thread m_reader;
};

// An X server in memory, for the programs that are started after it. Ends with this process.
class Display
{
public:
    Display();
    ~Display();
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    bool ready() const { return m_ready; }

private:
    pid_t m_pid = -1;
    bool m_ready = false;
};

} // namespace bench
