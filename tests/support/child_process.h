// A child of a test (see ChildMain) with pipes as its standard streams. The end of the scope kills
// and reaps it. Linux only.
#pragma once

#include <csignal>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include <sys/types.h>

namespace test
{

class ChildProcess
{
public:
    // Starts the child function of this name. Further environment settings are "NAME=value".
    explicit ChildProcess(const std::string& name, std::vector<std::string> arguments = {},
                          const std::vector<std::string>& environment = {});
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    pid_t id() const { return m_id; }
    // A line of its standard output, without the line end; "" at the end of it.
    std::string line();
    void tell(const std::string& line); // writes a line to its standard input
    void send(int signal)               // does nothing after wait()
    {
        if (m_status < 0)
            ::kill(m_id, signal);
    }
    // Sends the signal and returns when the process is dead, or stopped for SIGSTOP.
    void finish(int signal);
    // Waits for its end: the exit code, or 128 and the number of the signal that ended it.
    int wait();
    // Returns when another process has stopped it.
    void wait_until_stopped();

private:
    pid_t m_id = -1;
    int m_in = -1;
    int m_out = -1;
    int m_status = -1;
};

// For the child: a line to the test, and one from it.
void say(const std::string& line);
std::string hear();

} // namespace test
