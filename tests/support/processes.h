// Processes of this test program, for tests between processes.
#pragma once

#include <string>
#include <vector>

#include "support/environment.h"

namespace test
{

// A child of this program that runs the function of a ChildMain. It ends with the scope at the
// latest.
class Process
{
public:
    static Process child(const std::string& name, const std::vector<std::string>& arguments = {});
    Process(Process&& other) noexcept;
    Process& operator=(Process&&) = delete;
    ~Process();

    // Waits for the child's end and gives its exit code, 128 and more for a signal.
    int wait();
    // Ends the child without giving it a chance to do anything.
    void kill();
    // Reads one line that the child wrote to its standard output, without the line end; "" at its
    // end.
    std::string read_line();
    // Writes to the child's standard input.
    void write(const std::string& text);
    int id() const { return m_id; }

private:
    Process() = default;
    int m_id = -1;
    int m_out = -1;
    int m_in = -1;
};

} // namespace test
