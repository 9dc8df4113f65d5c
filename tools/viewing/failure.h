// How a command ends early: with a message for people and an exit code. Thrown where the problem is
// found, reported once, in main.
#pragma once

#include <stdexcept>
#include <string>

namespace trace
{

// The exit codes of the program; the help text lists them.
enum ExitCode : int
{
    exit_done = 0,
    exit_failed = 1,
    exit_usage = 2,
    exit_channel_taken = 3,
    exit_timeout = 4,
    exit_no_window = 5,
};

class Failure : public std::runtime_error
{
public:
    Failure(ExitCode code, const std::string& message) : std::runtime_error(message), m_code(code)
    {
    }
    ExitCode code() const { return m_code; }

private:
    ExitCode m_code;
};

// The reader of standard output, or of an output file that is a pipe, has closed it: the program
// ends, without a failure.
struct OutputClosed
{
};

// The time that the user allowed for the program has ended while it waited for a reader.
struct TimeOver : OutputClosed
{
};

// The user has ended the program while it waited: no failure either.
struct Interrupted
{
};

} // namespace trace
