// How a program ends after an exception that reached its main function.
#pragma once

namespace trace
{

// In a handler in main: tells the user of the failure, if it is one, and returns the exit code.
// Passes on what is neither a Failure, an end without one nor a std::exception.
int end_by_exception();

} // namespace trace
