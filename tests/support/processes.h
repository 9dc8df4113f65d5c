// Processes that run this test program, for tests between processes.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "support/environment.h"

namespace test
{

// A child that runs this program with the function of a ChildMain. It is ended with the scope at
// the latest.
class Process
{
public:
    static Process child(const std::string& name, const std::vector<std::string>& arguments = {});

    // Waits for the child's end and returns its exit code, 128 and more for a signal.
    int wait();
    // Ends the child at once, without any clean-up in it.
    void kill();
    // Reads one line that the child wrote to its standard output, without the line end; "" at its
    // end. On Linux only.
    std::string read_line();

private:
    struct Running; // defined for each system
    std::shared_ptr<Running> m_running;
};

} // namespace test
