// How a program ends after an exception that reached its main function.
#pragma once

namespace trace
{

// To be called in a handler in main: reports the failure to the user, if it is one, and returns the
// exit code. Other exceptions than Failure, OutputClosed, Interrupted and std::exception are passed
// on.
int end_by_exception();

} // namespace trace
